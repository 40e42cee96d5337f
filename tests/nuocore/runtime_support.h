// What the tests of the runtime half share.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "nuocore/Assertion.h"
#include "nuocore/Log.h"
#include "nuocore/Trace.h"
#include "support/System.h"

namespace runtime_test {

/// How long a test waits for what has to happen before it fails.
inline constexpr std::chrono::seconds kDeadline{30};

/// Tests whose state is process-wide: each death test's statement runs in a process started anew.
class FreshProcessDeathTest : public testing::Test {
  protected:
    FreshProcessDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

/// Ends a fresh process at once, successfully when no expectation in it has failed.
[[noreturn]] inline void EndByVerdict() {
    (void)std::fflush(nullptr);
    std::_Exit(testing::Test::HasFailure() ? 1 : 0);
}

/// Collects assertions while it lives.
class AssertionRecorder {
  public:
    AssertionRecorder()
        : mBefore(nuocore::debug::SetAssertionHandler([seen = mSeen](const auto& inRecord) {
              const std::lock_guard lock(seen->mLock);
              seen->mRecords.push_back(inRecord);
              return false;
          })) {}
    AssertionRecorder(const AssertionRecorder&) = delete;
    AssertionRecorder& operator=(const AssertionRecorder&) = delete;
    ~AssertionRecorder() { nuocore::debug::SetAssertionHandler(mBefore); }

    std::vector<nuocore::debug::AssertionRecord> Records() const {
        const std::lock_guard lock(mSeen->mLock);
        return mSeen->mRecords;
    }

  private:
    struct Seen {
        std::mutex mLock;
        std::vector<nuocore::debug::AssertionRecord> mRecords;
    };
    std::shared_ptr<Seen> mSeen = std::make_shared<Seen>();
    nuocore::debug::AssertionHandler mBefore;
};

/// Collects log records while it lives.
class LogRecorder {
  public:
    LogRecorder()
        : mBefore(nuocore::log::SetLogSink(
              [this](const nuocore::log::LogRecord& inRecord) { mRecords.push_back(inRecord); })) {}
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;
    ~LogRecorder() { nuocore::log::SetLogSink(mBefore); }

    /// To be read while no other thread logs.
    const std::vector<nuocore::log::LogRecord>& Records() const { return mRecords; }

  private:
    std::vector<nuocore::log::LogRecord> mRecords;
    nuocore::log::LogSink mBefore;
};

/// A folder that goes with the object.
class TemporaryFolder {
  public:
    TemporaryFolder() = default;
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        // On Windows what the core library holds open until the process ends can't be removed.
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }

    std::string File(const char* inName) const { return (mPath / inName).string(); }

  private:
    std::filesystem::path mPath = support::MakeTemporaryFolder("nuocore-");
};

inline std::string ReadFile(const std::string& inPath) {
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

using support::SetVariable;

}  // namespace runtime_test
