#include "doubles/NuocoreWatch.h"

#include <mutex>

namespace doubles {

namespace {

template <typename T>
class Collected {
  public:
    void Add(T inItem) {
        const std::lock_guard<std::mutex> lock(mMutex);
        mItems.push_back(std::move(inItem));
    }
    void Clear() {
        const std::lock_guard<std::mutex> lock(mMutex);
        mItems.clear();
    }
    std::vector<T> Items() const {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mItems;
    }

  private:
    mutable std::mutex mMutex;
    std::vector<T> mItems;
};

struct Record {
    std::string mFull;
    std::string mBrief;
};

// Handlers may still be running when a watch has gone, so what they fill outlives every watch.
Collected<Record>& Assertions() {
    static auto& sItems = *new Collected<Record>;
    return sItems;
}
Collected<std::string>& TraceLines() {
    static auto& sItems = *new Collected<std::string>;
    return sItems;
}
Collected<nuocore::log::LogRecord>& LogRecords() {
    static auto& sItems = *new Collected<nuocore::log::LogRecord>;
    return sItems;
}
Collected<std::string>& Locks() {
    static auto& sItems = *new Collected<std::string>;
    return sItems;
}

}  // namespace

AssertionWatch::AssertionWatch() {
    Assertions().Clear();
    mBefore = nuocore::debug::SetAssertionHandler([](const nuocore::debug::AssertionRecord& inRecord) {
        std::string brief = inRecord.mExpression;
        if (!inRecord.mMessage.empty()) {
            brief.append("|").append(inRecord.mMessage);
        }
        Assertions().Add({std::string(inRecord.mFile) + "|" + std::to_string(inRecord.mLine) + "|" +
                              inRecord.mFunction + "|" + inRecord.mExpression + "|" + inRecord.mMessage,
                          brief});
        return false;
    });
}

AssertionWatch::~AssertionWatch() { nuocore::debug::SetAssertionHandler(mBefore); }

std::vector<std::string> AssertionWatch::Records() const {
    std::vector<std::string> texts;
    for (const Record& record : Assertions().Items()) {
        texts.push_back(record.mFull);
    }
    return texts;
}

std::vector<std::string> AssertionWatch::Brief() const {
    std::vector<std::string> texts;
    for (const Record& record : Assertions().Items()) {
        texts.push_back(record.mBrief);
    }
    return texts;
}

void AssertionWatch::Clear() { Assertions().Clear(); }

TraceWatch::TraceWatch(const char* inRules) {
    TraceLines().Clear();
    mBefore = nuocore::debug::SetTraceSink([](int inLevel, std::string_view inCategory,
                                              std::string_view inText) {
        TraceLines().Add(std::to_string(inLevel).append("|").append(inCategory).append("|").append(inText));
    });
    nuocore::debug::SetTraceRules(inRules);
}

TraceWatch::~TraceWatch() {
    nuocore::debug::SetTraceRules("");
    nuocore::debug::SetTraceSink(mBefore);
}

std::vector<std::string> TraceWatch::Lines() const { return TraceLines().Items(); }

LogWatch::LogWatch() {
    LogRecords().Clear();
    mBefore =
        nuocore::log::SetLogSink([](const nuocore::log::LogRecord& inRecord) { LogRecords().Add(inRecord); });
}

LogWatch::~LogWatch() { nuocore::log::SetLogSink(mBefore); }

std::vector<nuocore::log::LogRecord> LogWatch::Records() const { return LogRecords().Items(); }

LockWatch::LockWatch() {
    Locks().Clear();
    mBefore = nuocore::thread::SetLockObserver([](const nuocore::thread::RecursiveMutex& /*inMutex*/,
                                                  const char* inAcquirer, std::uint32_t inTimeout) {
        Locks().Add(std::string(inAcquirer) + "|" + std::to_string(inTimeout));
    });
}

LockWatch::~LockWatch() { nuocore::thread::SetLockObserver(mBefore); }

std::vector<std::string> LockWatch::Acquisitions() const { return Locks().Items(); }

void LockWatch::Clear() { Locks().Clear(); }

}  // namespace doubles
