/// Downloads of tests.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "common/Failure.h"
#include "fetch/Fetch.h"
#include "support/Archives.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;

class Collector final : public IByteSink {
  public:
    void Begin() override {
        mText.clear();
        ++mBegins;
    }
    void Take(std::span<const std::byte> inBytes) override {
        mText.append(reinterpret_cast<const char*>(inBytes.data()), inBytes.size());
        if (mOnTake) mOnTake();
    }

    std::string mText;
    int mBegins = 0;
    std::function<void()> mOnTake;
};

inline FetchSettings Quick() {
    FetchSettings settings;
    settings.mPace.mStallLimit = std::chrono::milliseconds(300);
    settings.mRetry.mFirstDelay = std::chrono::milliseconds(1);
    settings.mRetry.mLongestDelay = std::chrono::milliseconds(4);
    return settings;
}

/// What came of a download: nothing for success, or the failure's code.
inline std::optional<ErrorCode> CodeOf(const std::string& inAddress, std::size_t inSize, IByteSink& ioSink,
                                       const FetchSettings& inSettings = Quick()) {
    try {
        Fetch(inAddress, inSize, inSettings, ioSink, {});
        return std::nullopt;
    } catch (const Failure& failure) {
        return failure.Code();
    }
}

inline const std::string kContent = Noise(300'000);

}  // namespace zarnd_test
