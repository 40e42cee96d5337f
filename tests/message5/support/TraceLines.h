/// What is traced while it lives.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "nuocore/Trace.h"

class TraceLines {
  public:
    /// inRules: as the environment would say them.
    explicit TraceLines(std::string_view inRules) {
        nuocore::debug::SetTraceRules(inRules);
        mBefore = nuocore::debug::SetTraceSink(
            [this](int inLevel, std::string_view inCategory, std::string_view inText) {
                const std::scoped_lock lock(mMutex);
                mLines.push_back(std::to_string(inLevel) + " " + std::string(inCategory) + " " +
                                 std::string(inText));
            });
    }
    ~TraceLines() { nuocore::debug::SetTraceSink(mBefore); }
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;

    /// "LEVEL CATEGORY TEXT" each.
    std::vector<std::string> Lines() {
        const std::scoped_lock lock(mMutex);
        return mLines;
    }
    bool Contain(std::string_view inText) {
        for (const std::string& line : Lines()) {
            if (line.find(inText) != std::string::npos) return true;
        }
        return false;
    }

  private:
    std::mutex mMutex;
    std::vector<std::string> mLines;
    nuocore::debug::TraceSink mBefore;
};
