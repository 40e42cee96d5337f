// What one received message costs in the messaging core. A lock and unlock of the standard mutex stands
// beside it as a yardstick.
#include <benchmark/benchmark.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <mutex>
#include <string>
#include <vector>

#include "client/PlexaClientImpl.h"
#include "nuoplexasupport/Messaging.h"

namespace nuoplexasupport {
namespace {

const std::string kNone;
const std::string kSender = "PEER-1.0";

// As many subscriptions as a busy host has.
struct BusyHost {
    BusyHost() {
        for (int i = 0; i < 200; ++i) {
            SubscribeToMessage(mClient,
                               ImmutableString("plexa.SuiteMessage.bench.subscribed." + std::to_string(i)));
        }
    }
    boost::shared_ptr<IPlexaClient> mClient = boost::make_shared<IPlexaClient>();
};

void NobodyCares(benchmark::State& ioState) {
    static const BusyHost sHost;
    std::vector<std::string> types;
    for (std::int64_t i = 0; i < ioState.range(0); ++i) {
        types.push_back("plexa.SuiteMessage.bench.of.no.interest." + std::to_string(i));
    }
    const std::string payload(256, 'x');
    std::size_t next = 0;
    for (auto _ : ioState) {
        PlexaMessageStaticCallback(types[next], payload, kNone, kSender);
        next = next + 1 == types.size() ? 0 : next + 1;
    }
}
BENCHMARK(NobodyCares)->ArgName("types")->Arg(1)->Arg(16)->Arg(1000)->Arg(100000);

void Delivered(benchmark::State& ioState, const std::string& inPayload) {
    static const BusyHost sHost;
    const std::string type = "plexa.SuiteMessage.bench.subscribed.7";
    for (auto _ : ioState) {
        PlexaMessageStaticCallback(type, inPayload, kNone, kSender);
    }
}
BENCHMARK_CAPTURE(Delivered, raw, "plain words");
BENCHMARK_CAPTURE(Delivered, json, R"({"name":"amber","size":"12"})");
BENCHMARK_CAPTURE(Delivered, xml, "<message><name>amber</name><size>12</size></message>");

void StandardMutexPair(benchmark::State& ioState) {
    std::mutex mutex;
    for (auto _ : ioState) {
        mutex.lock();
        benchmark::DoNotOptimize(&mutex);
        mutex.unlock();
    }
}
BENCHMARK(StandardMutexPair);

}  // namespace
}  // namespace nuoplexasupport
