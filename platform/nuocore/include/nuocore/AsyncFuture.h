/// The templates `Future` and `Promise`; `nuocore/Async.h` says how they behave.
#pragma once

#include <concepts>
#include <functional>
#include <utility>

#include "nuocore/AsyncState.h"
#include "nuocore/Exception.h"

namespace nuocore::async {

/// Result code of a future whose promise went without being set.
inline constexpr int kBrokenPromise = static_cast<int>(0xF3610001U);

template <typename T>
class Future;
template <typename T>
class Promise;
namespace detail {
template <typename T, typename Result, typename Function>
class FutureContinuation;
}

/// What `MakePromise` returns.
template <typename T>
struct PromiseAndFuture {
    Promise<T> mPromise;
    Future<T> mFuture;
};

/// A fresh promise and its future on an executor; a null one stands for the default one.
template <typename T>
PromiseAndFuture<T> MakePromise(boost::shared_ptr<AsyncExecutor> inExecutor);

/// A result that is there now or later. Copies share the state. Every operation but `IsValid` throws a
/// `nuo_exception` ("Future: No State", `eUnknown`) on a future without a state.
template <typename T>
class Future {
  public:
    /// A future without a state.
    Future() noexcept = default;
    /// A future that already has its value; for `void` without `inValue`.
    template <typename... Value>
    requires std::constructible_from<typename detail::State<T>::Stored, Value...>
    static Future MakeReady(boost::shared_ptr<AsyncExecutor> inExecutor, Value&&... inValue);
    /// A future that already has failed.
    static Future MakeFailed(boost::shared_ptr<AsyncExecutor> inExecutor, std::exception_ptr inError);

    [[nodiscard]] bool IsValid() const noexcept { return mState != nullptr; }
    /// Whether it has been completed, by a value or an exception.
    [[nodiscard]] bool IsReady() const { return Checked().IsReady(); }
    /// Waits until it is completed. Not for work of an executor that the completion needs a thread of.
    void Wait() const { Checked().Wait(); }
    /// Waits until it is completed, `inTimeout` at most; whether it is.
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds inTimeout) const {
        return Checked().WaitFor(inTimeout);
    }
    /// Waits and returns the value, or throws the exception. The reference is good as long as a future of
    /// this state lives.
    decltype(auto) Get() const& {
        Await();
        if constexpr (!std::is_void_v<T>) {
            return std::as_const(*mState->mValue);
        }
    }
    /// The same for a temporary future: returns a copy.
    T Get() && {
        Await();
        if constexpr (!std::is_void_v<T>) {
            return T(*mState->mValue);
        }
    }
    /// The exception it was completed with; null when it has a value or isn't completed. Doesn't wait.
    [[nodiscard]] std::exception_ptr GetException() const { return Checked().GetError(); }
    /// The executor it was made on; never null.
    [[nodiscard]] const boost::shared_ptr<AsyncExecutor>& GetExecutor() const {
        return Checked().GetExecutor();
    }

    /// Attaches `inFunction`, called with this future once that is completed, by a value or an exception, on
    /// the completing thread. Gives a future of what it returns or throws, on this future's executor. A
    /// future that it returns is a value like any other. Throws `std::bad_alloc`, then nothing is attached.
    template <typename Function>
    auto Then(Function&& inFunction) const {
        return Derive(nullptr, GetExecutor(), std::forward<Function>(inFunction));
    }
    /// The same with `inFunction` called by `inExecutor`; a null one stands for the default one. When the
    /// executor refuses the work, the derived future gets the exception; when it drops the work, that breaks
    /// the derived future.
    template <typename Function>
    auto ThenOn(boost::shared_ptr<AsyncExecutor> inExecutor, Function&& inFunction) const {
        if (!inExecutor) {
            inExecutor = GetDefaultExecutor();
        }
        return Derive(inExecutor, inExecutor, std::forward<Function>(inFunction));
    }

  private:
    template <typename>
    friend class Future;
    template <typename, typename, typename>
    friend class detail::FutureContinuation;
    friend PromiseAndFuture<T> MakePromise<T>(boost::shared_ptr<AsyncExecutor> inExecutor);

    explicit Future(std::shared_ptr<detail::State<T>> inState) noexcept : mState(std::move(inState)) {}

    detail::State<T>& Checked() const {
        if (!mState) {
            detail::ThrowNoState();
        }
        return *mState;
    }
    void Await() const {
        Wait();
        if (std::exception_ptr error = mState->GetError()) {
            std::rethrow_exception(std::move(error));
        }
    }
    template <typename Function>
    auto Derive(boost::shared_ptr<AsyncExecutor> inRunOn, boost::shared_ptr<AsyncExecutor> inExecutor,
                Function&& inFunction) const;

    std::shared_ptr<detail::State<T>> mState;
};

/// Completes a future, once: the first call of any copy counts, later ones do nothing. The result of a call
/// says whether it completed the future: false when it is completed already or nobody holds its state any
/// more. Copies are one promise. Continuations have run when a call that returns true returns.
template <typename T>
class Promise {
  public:
    /// A promise without a future; setting it does nothing.
    Promise() noexcept = default;

    /// Completes with a value. Should making it throw, completes with that exception.
    template <typename Value = T>
    requires(!std::is_void_v<T> &&
             std::constructible_from<typename detail::State<T>::Stored, Value>) bool SetValue(Value&& inValue)
        const noexcept {
        return Complete(
            [&](detail::State<T>& ioState) { ioState.mValue.emplace(std::forward<Value>(inValue)); });
    }
    /// Completes a future without a value.
    bool SetValue() const noexcept requires std::is_void_v<T> {
        return Complete([](detail::State<T>& ioState) { ioState.mValue.emplace(); });
    }
    /// Completes with an exception. A null pointer stands for a `nuo_exception` without a message and with
    /// the code `eUnknown`.
    bool SetException(std::exception_ptr inError) const noexcept {
        const std::shared_ptr<detail::SharedState> state = Lock();
        return state && state->Fail(std::move(inError));
    }

  private:
    friend PromiseAndFuture<T> MakePromise<T>(boost::shared_ptr<AsyncExecutor> inExecutor);
    template <typename>
    friend class Future;

    explicit Promise(const std::shared_ptr<detail::State<T>>& inState)
        : mSide(std::make_shared<detail::PromiseSide>(inState)) {}

    std::shared_ptr<detail::SharedState> Lock() const noexcept { return mSide ? mSide->Lock() : nullptr; }

    template <typename Store>
    bool Complete(const Store& inStore) const noexcept {
        const std::shared_ptr<detail::SharedState> state = Lock();
        if (!state || !state->Claim()) {
            return false;
        }
        std::exception_ptr error;
        try {
            inStore(static_cast<detail::State<T>&>(*state));
        } catch (...) {
            error = std::current_exception();
        }
        state->Publish(std::move(error));
        return true;
    }

    std::shared_ptr<detail::PromiseSide> mSide;
};

template <typename T>
PromiseAndFuture<T> MakePromise(boost::shared_ptr<AsyncExecutor> inExecutor) {
    auto state = std::make_shared<detail::State<T>>(std::move(inExecutor), nullptr);
    Promise<T> promise(state);
    return {std::move(promise), Future<T>(std::move(state))};
}

namespace detail {

/// Runs a function of `Then` or `ThenOn` and completes the derived future with what it gives.
template <typename T, typename Result, typename Function>
class FutureContinuation final : public Continuation {
  public:
    template <typename Given>
    FutureContinuation(boost::shared_ptr<AsyncExecutor> inRunOn, Promise<Result> inPromise,
                       Given&& inFunction)
        : mRunOn(std::move(inRunOn)),
          mJob(std::make_shared<Job>(std::move(inPromise), std::forward<Given>(inFunction))) {}

    void Run(const std::shared_ptr<SharedState>& inCompleted) noexcept override {
        const Future<T> completed(std::static_pointer_cast<State<T>>(inCompleted));
        if (!mRunOn) {
            mJob->Run(completed);
            return;
        }
        try {
            mRunOn->Post([job = mJob, completed] { job->Run(completed); });
        } catch (...) {
            mJob->mPromise.SetException(std::current_exception());
        }
    }

  private:
    struct Job {
        template <typename Given>
        Job(Promise<Result> inPromise, Given&& inFunction)
            : mPromise(std::move(inPromise)), mFunction(std::forward<Given>(inFunction)) {}

        void Run(const Future<T>& inCompleted) noexcept {
            try {
                if constexpr (std::is_void_v<Result>) {
                    std::invoke(mFunction, inCompleted);
                    mPromise.SetValue();
                } else {
                    mPromise.SetValue(std::invoke(mFunction, inCompleted));
                }
            } catch (...) {
                mPromise.SetException(std::current_exception());
            }
        }

        Promise<Result> mPromise;
        Function mFunction;
    };

    boost::shared_ptr<AsyncExecutor> mRunOn;
    std::shared_ptr<Job> mJob;
};

}  // namespace detail

template <typename T>
template <typename... Value>
requires std::constructible_from<typename detail::State<T>::Stored, Value...> Future<T> Future<T>::MakeReady(
    boost::shared_ptr<AsyncExecutor> inExecutor, Value&&... inValue) {
    auto [promise, future] = MakePromise<T>(std::move(inExecutor));
    promise.SetValue(std::forward<Value>(inValue)...);
    return std::move(future);
}

template <typename T>
Future<T> Future<T>::MakeFailed(boost::shared_ptr<AsyncExecutor> inExecutor, std::exception_ptr inError) {
    auto [promise, future] = MakePromise<T>(std::move(inExecutor));
    promise.SetException(std::move(inError));
    return std::move(future);
}

template <typename T>
template <typename Function>
auto Future<T>::Derive(boost::shared_ptr<AsyncExecutor> inRunOn, boost::shared_ptr<AsyncExecutor> inExecutor,
                       Function&& inFunction) const {
    using Kept = std::decay_t<Function>;
    using Result = std::decay_t<std::invoke_result_t<Kept&, const Future<T>&>>;
    detail::State<T>& parent = Checked();
    auto derived = std::make_shared<detail::State<Result>>(std::move(inExecutor), mState);
    Promise<Result> promise(derived);
    parent.Attach(std::make_unique<detail::FutureContinuation<T, Result, Kept>>(
        std::move(inRunOn), std::move(promise), std::forward<Function>(inFunction)));
    return Future<Result>(std::move(derived));
}

}  // namespace nuocore::async
