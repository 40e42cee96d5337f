#include "nuocore/Assertion.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "Debugger.h"
#include "nuocore/RecordBudget.h"
#include "nuocore/Strings.h"

namespace nuocore::debug {

namespace {

struct InstalledHandler {
    std::mutex mLock;
    std::shared_ptr<const AssertionHandler> mHandler;  // null for the default one
};

// Never destroyed: assertions are raised until the very end of the process.
InstalledHandler& Installed() {
    static auto* const sInstalled = new InstalledHandler;
    return *sInstalled;
}

std::atomic<BreakPolicy> sBreakPolicy{BreakPolicy::kDebuggerAttached};

// How many assertions this thread is raising, one within another.
thread_local int sNesting = 0;

const char* TextOf(const char* inText) noexcept { return inText != nullptr ? inText : ""; }

bool LogAssertion(const AssertionRecord& inRecord) {
    using serialization::VariantValue;
    static log::RecordBudget sBudget;
    return log::LogWithin(sBudget, [&] {
        return log::LogRecord{"Assertion",
                              TextOf(inRecord.mFile),
                              TextOf(inRecord.mFunction),
                              inRecord.mMessage,
                              {{"expression", VariantValue(UTF8String(TextOf(inRecord.mExpression)))},
                               {"line", VariantValue(std::uint64_t{inRecord.mLine})}}};
    });
}

std::shared_ptr<const AssertionHandler> CurrentHandler() {
    InstalledHandler& installed = Installed();
    const std::lock_guard lock(installed.mLock);
    return installed.mHandler;
}

// An assertion that a handler raises goes to the log, whose sink can't raise another: what it logs itself is
// dropped.
bool Handle(const AssertionRecord& inRecord) {
    const std::shared_ptr<const AssertionHandler> handler = sNesting == 1 ? CurrentHandler() : nullptr;
    return handler ? (*handler)(inRecord) : LogAssertion(inRecord);
}

}  // namespace

AssertionHandler SetAssertionHandler(AssertionHandler inHandler) {
    std::shared_ptr<const AssertionHandler> handler;
    if (inHandler) {
        handler = std::make_shared<const AssertionHandler>(std::move(inHandler));
    }
    InstalledHandler& installed = Installed();
    {
        const std::lock_guard lock(installed.mLock);
        installed.mHandler.swap(handler);
    }
    return handler ? *handler : AssertionHandler();
}

void SetBreakPolicy(BreakPolicy inPolicy) noexcept {
    sBreakPolicy.store(inPolicy, std::memory_order_relaxed);
}

BreakPolicy GetBreakPolicy() noexcept { return sBreakPolicy.load(std::memory_order_relaxed); }

void RaiseAssertion(const AssertionRecord& inRecord) noexcept {
    bool wantsBreak = false;
    ++sNesting;
    try {
        wantsBreak = Handle(inRecord);
    } catch (...) {  // by contract: execution goes on behind an assertion whatever its handler does
        wantsBreak = false;
    }
    --sNesting;
    if (wantsBreak && GetBreakPolicy() == BreakPolicy::kDebuggerAttached && IsDebuggerAttached()) {
        BreakIntoDebugger();
    }
}

}  // namespace nuocore::debug
