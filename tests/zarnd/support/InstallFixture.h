/// A store of modules of a test's own, and what is installed there.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "common/Failure.h"
#include "install/Install.h"
#include "support/Archives.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;

inline const std::string kOld = MakeArchive({{Entry::Kind::kFile, "text", "old"}});
inline const std::string kNew =
    MakeArchive({{Entry::Kind::kFile, "text", "new"}, {Entry::Kind::kFile, "more", Noise(90'000)}});

class Installing : public testing::Test {
  protected:
    std::string Address(const std::string& inArchive, const std::string& inName = "archive.tar") const {
        Write(mScratch.Path() / inName, inArchive);
        return "file://" + (mScratch.Path() / inName).string();
    }
    void Run(const ModuleSpec& inModule, const std::stop_token& inStop = {}) {
        InstallWatch watch{[this](InstallStep inStep) { OnStep(inStep); }, [](double) {}};
        Install("QRTX", inModule, mStore, mSettings, mConflicts, watch, inStop);
    }
    void OnStep(InstallStep inStep) {
        if (mOnStep) mOnStep(inStep);
    }
    std::optional<ErrorCode> CodeOf(const ModuleSpec& inModule) {
        try {
            Run(inModule);
            return std::nullopt;
        } catch (const Failure& failure) {
            mSentence = failure.what();
            return failure.Code();
        }
    }
    [[nodiscard]] std::string Text() const { return Read(mStore.Files("QRTX", "KQ7L") / "text"); }
    /// What lies in the module's folder.
    [[nodiscard]] std::size_t CountEntries() const {
        std::error_code none;
        const std::filesystem::directory_iterator entries(mRoot / "QRTX" / "KQ7L", none);
        return none ? 0
                    : static_cast<std::size_t>(std::distance(entries, std::filesystem::directory_iterator()));
    }

    ScratchFolder mScratch;
    std::filesystem::path mRoot = mScratch.Path() / "modules";
    ModuleStore mStore{mRoot};
    FetchSettings mSettings;
    ConflictFinder mConflicts = [](const std::vector<std::string>&) { return std::vector<std::string>(); };
    std::function<void(InstallStep)> mOnStep;
    std::string mSentence;
};

}  // namespace zarnd_test
