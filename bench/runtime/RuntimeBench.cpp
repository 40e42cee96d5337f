// The lock, a tracing place that is off, and futures, each beside the standard library's counterpart.
#include <benchmark/benchmark.h>

#include <future>
#include <mutex>

#include "nuocore/Async.h"
#include "nuocore/RecursiveMutex.h"
#include "nuocore/Trace.h"

namespace {

using namespace nuocore;

void RecursiveMutexPair(benchmark::State& ioState) {
    static thread::RecursiveMutex sMutex("bench");
    for ([[maybe_unused]] auto _ : ioState) {
        const thread::ScopedLock lock(sMutex, "RecursiveMutexPair", 60000);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(RecursiveMutexPair)->Threads(1)->Threads(2);

void StandardRecursiveMutexPair(benchmark::State& ioState) {
    static std::recursive_mutex sMutex;
    for ([[maybe_unused]] auto _ : ioState) {
        const std::lock_guard lock(sMutex);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StandardRecursiveMutexPair)->Threads(1)->Threads(2);

void TraceSwitchThatIsOff(benchmark::State& ioState) {
    static debug::TraceSwitch sSwitch("bench", 5);
    for ([[maybe_unused]] auto _ : ioState) {
        benchmark::DoNotOptimize(sSwitch.IsEnabled());
    }
}
BENCHMARK(TraceSwitchThatIsOff);

void TraceEnabledUncached(benchmark::State& ioState) {
    debug::SetTraceRules("nuoplexasupport::*=5,PlexaClientImpl=4,*=0");
    for ([[maybe_unused]] auto _ : ioState) {
        benchmark::DoNotOptimize(debug::TraceEnabled("nuoplexasupport::PlexaInterface", 6));
    }
    debug::SetTraceRules("");
}
BENCHMARK(TraceEnabledUncached);

void FutureCompletion(benchmark::State& ioState) {
    const auto executor = async::GetInlineExecutor();
    for ([[maybe_unused]] auto _ : ioState) {
        auto [promise, future] = async::MakePromise<int>(executor);
        promise.SetValue(1);
        benchmark::DoNotOptimize(future.Get());
    }
}
BENCHMARK(FutureCompletion);

void StandardFutureCompletion(benchmark::State& ioState) {
    for ([[maybe_unused]] auto _ : ioState) {
        std::promise<int> promise;
        std::future<int> future = promise.get_future();
        promise.set_value(1);
        benchmark::DoNotOptimize(future.get());
    }
}
BENCHMARK(StandardFutureCompletion);

void FutureWithContinuation(benchmark::State& ioState) {
    const auto executor = async::GetInlineExecutor();
    for ([[maybe_unused]] auto _ : ioState) {
        auto [promise, future] = async::MakePromise<int>(executor);
        auto derived = future.Then([](const async::Future<int>& inDone) { return inDone.Get() + 1; });
        promise.SetValue(1);
        benchmark::DoNotOptimize(derived.Get());
    }
}
BENCHMARK(FutureWithContinuation);

}  // namespace
