/// Watches what a test makes the core library see: assertions, trace lines, log records, locks.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "nuocore/Assertion.h"
#include "nuocore/Log.h"
#include "nuocore/RecursiveMutex.h"
#include "nuocore/Trace.h"

namespace doubles {

/// Collects assertion records while it lives.
class AssertionWatch {
  public:
    AssertionWatch();
    AssertionWatch(const AssertionWatch&) = delete;
    AssertionWatch& operator=(const AssertionWatch&) = delete;
    ~AssertionWatch();

    /// A record as one text: "file|line|function|expression|message".
    [[nodiscard]] std::vector<std::string> Records() const;
    /// The expressions and messages only: "expression" or "expression|message".
    [[nodiscard]] std::vector<std::string> Brief() const;
    void Clear();

  private:
    nuocore::debug::AssertionHandler mBefore;
};

/// Collects trace lines, "level|category|text", with the given rules in force, while it lives.
class TraceWatch {
  public:
    explicit TraceWatch(const char* inRules);
    TraceWatch(const TraceWatch&) = delete;
    TraceWatch& operator=(const TraceWatch&) = delete;
    ~TraceWatch();
    [[nodiscard]] std::vector<std::string> Lines() const;

  private:
    nuocore::debug::TraceSink mBefore;
};

/// Collects log records while it lives.
class LogWatch {
  public:
    LogWatch();
    LogWatch(const LogWatch&) = delete;
    LogWatch& operator=(const LogWatch&) = delete;
    ~LogWatch();
    [[nodiscard]] std::vector<nuocore::log::LogRecord> Records() const;

  private:
    nuocore::log::LogSink mBefore;
};

/// Collects acquisitions of core library mutexes, "name|time-out", while it lives.
class LockWatch {
  public:
    LockWatch();
    LockWatch(const LockWatch&) = delete;
    LockWatch& operator=(const LockWatch&) = delete;
    ~LockWatch();
    [[nodiscard]] std::vector<std::string> Acquisitions() const;
    void Clear();

  private:
    nuocore::thread::LockObserver mBefore;
};

}  // namespace doubles
