// Throughput and round trip through the broker program, for payloads of several sizes; each figure as
// minimum, median and maximum of several runs.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Measure.h"

namespace {

struct Spread {
    double least;
    double median;
    double most;
};

Spread SpreadOf(std::vector<double> inValues) {
    std::sort(inValues.begin(), inValues.end());
    return {inValues.front(), inValues[inValues.size() / 2], inValues.back()};
}

void Print(std::size_t inPayload, const char* inFigure, const std::vector<double>& inValues) {
    const Spread spread = SpreadOf(inValues);
    std::printf("%8zu  %-26s %14.1f %14.1f %14.1f\n", inPayload, inFigure, spread.least, spread.median,
                spread.most);
}

void Measure(const std::string& inProgram, std::size_t inPayload, int inRuns, double inScale) {
    // About the same amount of bytes for each size, bounded where a message's own cost counts.
    const double share = std::min(1.0, 256.0 / static_cast<double>(inPayload));
    const auto messages =
        static_cast<std::uint64_t>(std::max(20000.0, 4e6 * share * share * 4) * inScale) + 10;
    const auto exchanges = static_cast<std::uint64_t>(20000 * inScale) + 100;
    std::vector<double> rate;
    std::vector<double> brokerRate;
    std::vector<double> median;
    std::vector<double> p99;
    for (int run = 0; run != inRuns; ++run) {
        const bench::Throughput throughput =
            bench::MeasureThroughput(inProgram, std::min<std::uint64_t>(messages, 4000000), inPayload);
        rate.push_back(throughput.messagesPerSecond);
        brokerRate.push_back(throughput.messagesPerBrokerSecond);
        const bench::RoundTrip roundTrip = bench::MeasureRoundTrip(inProgram, exchanges, inPayload);
        median.push_back(roundTrip.medianMicroseconds);
        p99.push_back(roundTrip.p99Microseconds);
    }
    Print(inPayload, "messages/s", rate);
    Print(inPayload, "messages/s of broker time", brokerRate);
    Print(inPayload, "round trip p50 us", median);
    Print(inPayload, "round trip p99 us", p99);
}

}  // namespace

int main(int inCount, char** inArguments) {
    std::string program = NUOPLEXA_BROKER_PROGRAM;
    std::vector<std::size_t> payloads = {64, 256, 4096, 65536};
    int runs = 3;
    double scale = 1;
    CLI::App app("Measures the broker with raw clients.");
    app.add_option("--program", program, "The broker to measure");
    app.add_option("--payload", payloads, "Payload sizes in bytes")
        ->check(CLI::Range(std::size_t{0}, std::size_t{1} << 20U));
    app.add_option("--runs", runs, "Runs per figure")->check(CLI::Range(1, 100));
    app.add_option("--scale", scale, "Share of the usual number of messages")
        ->check(CLI::Range(0.0001, 100.0));
    CLI11_PARSE(app, inCount, inArguments);
#ifdef BENCH_UNOPTIMISED
    std::fputs("warning: built without optimisation, the figures mean nothing\n", stderr);
#endif
    try {
        std::printf("%8s  %-26s %14s %14s %14s\n", "payload", "figure", "least", "median", "most");
        for (const std::size_t payload : payloads) Measure(program, payload, runs, scale);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_broker: %s\n", error.what());
        return 1;
    }
    return 0;
}
