// Holds the installed sink of the log or of the trace.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace nuocore::debug {

/// One lock for all sinks: a sink of the log may trace and one of the trace may log, on any threads, without
/// a deadlock. Never destroyed.
inline std::recursive_mutex& SinkLock() {
    static auto* const sLock = new std::recursive_mutex;
    return *sLock;
}

/// Calls one sink at a time. What a sink itself sends to its own slot is dropped.
template <typename... Args>
class SinkSlot {
  public:
    using Sink = std::function<void(Args...)>;

    /// Installs a sink, empty for the default one, and returns the one before it. Once this has returned on
    /// a thread that isn't inside a sink, the one before it runs no more.
    Sink Exchange(Sink inSink) {
        std::shared_ptr<const Sink> sink;
        if (inSink) {
            sink = std::make_shared<const Sink>(std::move(inSink));
        }
        {
            const std::lock_guard lock(SinkLock());
            mSink.swap(sink);
        }
        return sink ? *sink : Sink();
    }

    /// Hands `inArgs` to the sink, or to `inDefault`. Drops what a sink throws.
    template <typename Default>
    void Call(const Default& inDefault, Args... inArgs) noexcept {
        const std::lock_guard lock(SinkLock());
        if (mBusy) {
            return;
        }
        mBusy = true;
        try {
            const std::shared_ptr<const Sink> sink = mSink;  // a sink may replace itself while it runs
            if (sink) {
                (*sink)(inArgs...);
            } else {
                inDefault(inArgs...);
            }
        } catch (...) {  // a line lost is better than a host lost
            mBusy = false;
            return;
        }
        mBusy = false;
    }

  private:
    bool mBusy = false;
    std::shared_ptr<const Sink> mSink;
};

}  // namespace nuocore::debug
