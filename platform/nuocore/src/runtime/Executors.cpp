// The pool's own lock orders its work; fences on top of it are what the thread sanitizer can't follow.
#define BOOST_ASIO_DISABLE_FENCED_BLOCK

#include <algorithm>
#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "ProcessEnd.h"
#include "nuocore/Assertion.h"
#include "nuocore/AsyncExecutor.h"

namespace nuocore::async {

namespace {

constexpr std::size_t kMinThreads = 2;
constexpr std::size_t kMaxThreads = 4;

void RaiseWorkThrew(const char* inWhat) noexcept {
    try {
        debug::RaiseAssertion({"Async", 0, "nuocore::async::AsyncExecutor::Post", "false",
                               std::string("Exception caught from posted work: ") + inWhat});
    } catch (...) {  // no memory for the text
        debug::RaiseAssertion({"Async", 0, "nuocore::async::AsyncExecutor::Post", "false", {}});
    }
}

void RunGuarded(const std::function<void()>& inWork) noexcept {
    try {
        inWork();
    } catch (const std::exception& error) {
        RaiseWorkThrew(error.what());
    } catch (...) {
        RaiseWorkThrew("of an unknown type");
    }
}

class InlineExecutor final : public AsyncExecutor {
  public:
    void Post(std::function<void()> inWork) override { RunGuarded(inWork); }
};

class PoolExecutor final : public AsyncExecutor {
  public:
    void Post(std::function<void()> inWork) override {
        if (!mFinished) {
            const std::lock_guard lock(mLock);
            if (!mFinished) {
                if (!mPool) {
                    mPool = std::make_unique<boost::asio::thread_pool>(std::clamp<std::size_t>(
                        std::thread::hardware_concurrency(), kMinThreads, kMaxThreads));
                }
                boost::asio::post(*mPool, [work = std::move(inWork)] { RunGuarded(work); });
                return;
            }
        }
        RunGuarded(inWork);
    }

    /// Returns when all work has been done, or can't be done any more; from then on work runs inside `Post`.
    void Finish() {
        if (!runtime::kThreadsRunAtTheEnd) {
            mFinished = true;
            return;
        }
        {
            const std::lock_guard lock(mLock);
            mFinished = true;
        }
        // A thread of the pool that ends the process can't wait for itself.
        if (mPool && !mPool->get_executor().running_in_this_thread()) {
            mPool->join();
        }
    }

  private:
    std::mutex mLock;
    std::atomic<bool> mFinished{false};
    std::unique_ptr<boost::asio::thread_pool> mPool;  // never changes once it is there
};

// Never destroyed: futures complete on it until the very end of the process.
const boost::shared_ptr<PoolExecutor>& DefaultPool() {
    static const auto* const sPool = new boost::shared_ptr<PoolExecutor>(boost::make_shared<PoolExecutor>());
    return *sPool;
}

struct FinishAtExit {
    ~FinishAtExit() { DefaultPool()->Finish(); }
} sFinishAtExit;

}  // namespace

AsyncExecutor::~AsyncExecutor() = default;

boost::shared_ptr<AsyncExecutor> GetDefaultExecutor() { return DefaultPool(); }

boost::shared_ptr<AsyncExecutor> GetInlineExecutor() {
    static const auto* const sInline =
        new boost::shared_ptr<AsyncExecutor>(boost::make_shared<InlineExecutor>());
    return *sInline;
}

}  // namespace nuocore::async
