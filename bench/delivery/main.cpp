// What it costs that messages are acknowledged: the same build with acknowledgements and without, in turns.
//
// Without: receivers acknowledge nothing, the broker counts nothing on its way and reports nothing, senders
// forget a message once it is written and know no windows. Left as they are: numbering, the log in which a
// message waits to be written, and the lanes in which its receivers are looked up.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <vector>

#include <CLI/CLI.hpp>

#include "Measure.h"

namespace {

struct Scene {
    const char* mName;
    std::size_t mReceivers;
    std::size_t mPayload;
    std::uint64_t mMessages;
};
constexpr Scene kScenes[] = {
    {"one way, 64 B", 1, 64, 2000000},
    {"one way, 256 B", 1, 256, 1500000},
    {"fan-out to 8, 256 B", 8, 256, 250000},
};
/// Header and type text, as they go with each payload.
constexpr std::size_t kFrameOverhead = 68;

double Median(std::vector<double> inValues) {
    std::sort(inValues.begin(), inValues.end());
    return inValues[inValues.size() / 2];
}

void Compare(const Scene& inScene, int inPairs, double inScale, std::size_t inAhead) {
    bench::Task task;
    task.mReceivers = inScene.mReceivers;
    task.mPayload = inScene.mPayload;
    task.mMessages = static_cast<std::uint64_t>(double(inScene.mMessages) * inScale) + 1000;
    task.mAhead = inAhead / (inScene.mPayload + kFrameOverhead);
    std::vector<double> rates[2];
    std::vector<double> times[2];
    std::vector<double> prices;
    std::vector<double> timePrices;
    std::printf("%-20s", inScene.mName);
    for (int pair = 0; pair != inPairs; ++pair) {
        bench::Result results[2];
        // Who comes first changes, so that neither has it always better.
        for (const int turn : {pair % 2, 1 - pair % 2}) results[turn] = bench::Measure(task, turn == 1);
        for (const int turn : {0, 1}) {
            rates[turn].push_back(results[turn].mMessagesPerSecond);
            times[turn].push_back(results[turn].mMicrosecondsPerMessage);
        }
        prices.push_back(100 * (1 - rates[1].back() / rates[0].back()));
        timePrices.push_back(100 * (times[1].back() / times[0].back() - 1));
    }
    const auto [least, most] = std::minmax_element(prices.begin(), prices.end());
    std::printf("%12.0f %12.0f %9.1f %% (%5.1f to %5.1f) %8.3f %8.3f %9.1f %%\n", Median(rates[1]),
                Median(rates[0]), Median(prices), *least, *most, Median(times[1]), Median(times[0]),
                Median(timePrices));
    std::fflush(stdout);
}

}  // namespace

int main(int inCount, char** inArguments) {
    int pairs = 7;
    double scale = 1;
    std::size_t ahead = std::size_t{1} << 20U;
    CLI::App app("Compares sending with and without acknowledgements.");
    app.add_option("--pairs", pairs, "Runs of each")->check(CLI::Range(1, 1000));
    app.add_option("--scale", scale, "Share of the usual number of messages")
        ->check(CLI::Range(0.0001, 100.0));
    app.add_option("--ahead", ahead, "Bytes that a sender may be ahead of the slowest receiver")
        ->check(CLI::Range(std::size_t{1} << 12U, std::size_t{7} << 20U));
    CLI11_PARSE(app, inCount, inArguments);
#ifdef BENCH_UNOPTIMISED
    std::fputs("warning: built without optimisation, the figures mean nothing\n", stderr);
#endif
    try {
        std::printf("%-20s %12s %12s %29s %17s %11s\n", "", "with, 1/s", "without, 1/s",
                    "price (of all pairs)", "CPU us/message", "price");
        for (const Scene& scene : kScenes) Compare(scene, pairs, scale, ahead);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_delivery: %s\n", error.what());
        return 1;
    }
    return 0;
}
