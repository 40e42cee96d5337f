/// What a future and its promise share; an implementation detail of `nuocore/AsyncFuture.h`.
#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <variant>
#include <vector>

#include "nuocore/AsyncExecutor.h"
#include "nuocore/ThreadAnnotations.h"
#include "nuocore/export.h"

namespace nuocore::async::detail {

class SharedState;

/// Runs once when the state it is attached to is complete.
class NUOCORE_API Continuation {
  public:
    Continuation() = default;
    Continuation(const Continuation&) = delete;
    Continuation& operator=(const Continuation&) = delete;
    virtual ~Continuation();
    virtual void Run(const std::shared_ptr<SharedState>& inCompleted) noexcept = 0;
};

/// Everything of a state but its value. It moves from pending over claimed (one setter is writing the result)
/// to ready, never back. Always owned by a shared pointer. Any thread.
class NUOCORE_API SharedState : public std::enable_shared_from_this<SharedState> {
  public:
    /// A null executor stands for the default one. `inParent` is held until this state is ready.
    SharedState(boost::shared_ptr<AsyncExecutor> inExecutor, std::shared_ptr<SharedState> inParent);
    SharedState(const SharedState&) = delete;
    SharedState& operator=(const SharedState&) = delete;
    virtual ~SharedState();

    /// Makes the caller the one who writes the result, and who has to call `Publish`; false when there is
    /// one already.
    [[nodiscard]] bool Claim() noexcept;
    /// Makes the state ready, with an exception when one is given, wakes who waits and runs the
    /// continuations.
    void Publish(std::exception_ptr inError) noexcept;
    /// Completes a state that nobody has claimed yet with an exception; the result says whether it did.
    bool Fail(std::exception_ptr inError) noexcept;
    /// Takes a continuation, or runs it now when the state is ready. Throws `std::bad_alloc`.
    void Attach(std::unique_ptr<Continuation> inContinuation);

    [[nodiscard]] bool IsReady() const noexcept;
    void Wait() const;
    /// Whether the state became ready in time.
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds inTimeout) const;
    /// The exception of a ready state, null when it has a value; null also while it isn't ready.
    [[nodiscard]] std::exception_ptr GetError() const noexcept;

    [[nodiscard]] const boost::shared_ptr<AsyncExecutor>& GetExecutor() const noexcept { return mExecutor; }

  private:
    enum class Phase {
        kPending,  ///< nobody has a result yet
        kClaimed,  ///< one setter writes the result, outside the lock
        kReady     ///< result and error don't change any more
    };

    const boost::shared_ptr<AsyncExecutor> mExecutor;
    std::shared_ptr<SharedState> mParent;  // touched by the claimer only
    mutable std::mutex mLock;
    mutable std::condition_variable mBecameReady;
    Phase mPhase = Phase::kPending;
    std::exception_ptr mError;
    std::vector<std::unique_ptr<Continuation>> mContinuations;
};

/// The state of a `Future<T>`. The value is written by the claimer and read once the state is ready.
template <typename T>
class State final : public SharedState {
    static_assert(!std::is_reference_v<T>, "a future holds a value, not a reference");

  public:
    using Stored = std::conditional_t<std::is_void_v<T>, std::monostate, T>;
    using SharedState::SharedState;

    std::optional<Stored> mValue;
};

/// The promises' side of a state: breaks the state when the last promise goes.
class NUOCORE_API PromiseSide {
  public:
    explicit PromiseSide(std::weak_ptr<SharedState> inState) noexcept : mState(std::move(inState)) {}
    PromiseSide(const PromiseSide&) = delete;
    PromiseSide& operator=(const PromiseSide&) = delete;
    ~PromiseSide();

    [[nodiscard]] std::shared_ptr<SharedState> Lock() const noexcept { return mState.lock(); }

  private:
    std::weak_ptr<SharedState> mState;
};

/// Throws the `nuo_exception` of a future that has no state.
[[noreturn]] NUOCORE_API void ThrowNoState();

}  // namespace nuocore::async::detail
