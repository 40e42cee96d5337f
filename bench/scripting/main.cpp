// How much a script's call of a native method costs, beside a bare callback of the engine that does the same.
// Both run by turns in one process, and the thread's processor time counts, so that what else the machine
// does matters little.
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <vector>

#include "Side.h"

#ifdef BENCH_UNOPTIMISED
#error "a benchmark of a debug build says nothing; use the release preset"
#endif

namespace {

constexpr int kCalls = 100000;
constexpr double kBar = 1.5;

struct Call {
    const char* mName;
    const char* mExpression;
    const char* mSum;  // what "s" is after one call
};
constexpr std::array<Call, 3> kCallsOfScripts = {{{"no arguments, no result", "o.nothing(); s += 1", "1"},
                                                  {"a number, a number", "s += o.number(i) - i", "1"},
                                                  {"a text of 20, a number", "s += o.text(t) / 20", "1"}}};

double Median(std::vector<double> inValues) {
    const auto middle = inValues.begin() + static_cast<std::ptrdiff_t>(inValues.size() / 2);
    std::nth_element(inValues.begin(), middle, inValues.end());
    return *middle;
}

double ProcessorTime() {
    ::timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// Nanoseconds of one call.
double TimeOf(bench::Side& ioSide, const Call& inCall) {
    const std::string script =
        std::string("(() => { let s = 0; const t = 'twenty letters is it'; for (let i = 0; i < ") +
        std::to_string(kCalls) + "; i++) { " + inCall.mExpression + " } return s })()";
    const double began = ProcessorTime();
    if (ioSide.Run(script) != kCalls) throw std::runtime_error("a wrong sum");
    return (ProcessorTime() - began) / kCalls;
}

double Compare(const char* inTitle, bench::Side& ioBare, bench::Side& ioHost, int inRounds) {
    double worst = 0;
    std::cout << inTitle << "\n";
    for (const Call& call : kCallsOfScripts) {
        std::vector<double> bare;
        std::vector<double> host;
        std::vector<double> ratios;
        for (int round = -2; round < inRounds; ++round) {  // two to warm up
            const double bareTime = TimeOf(ioBare, call);
            const double hostTime = TimeOf(ioHost, call);
            if (round < 0) continue;
            bare.push_back(bareTime);
            host.push_back(hostTime);
            ratios.push_back(hostTime / bareTime);
        }
        const double ratio = Median(ratios);
        worst = std::max(worst, ratio);
        std::cout << "  " << std::left << std::setw(28) << call.mName << std::right << std::fixed
                  << std::setprecision(0) << std::setw(6) << Median(bare) << " ns bare" << std::setw(6)
                  << Median(host) << " ns method" << std::setprecision(2) << std::setw(8) << ratio
                  << " times  (" << *std::min_element(ratios.begin(), ratios.end()) << " to "
                  << *std::max_element(ratios.begin(), ratios.end()) << ")\n";
    }
    return worst;
}

}  // namespace

int main(int inCount, char** inArguments) {
    const int rounds = inCount > 1 ? std::max(1, std::atoi(inArguments[1])) : 21;
    const auto bare = bench::MakeBare();
    const auto host = bench::MakeHost(false);
    const auto limited = bench::MakeHost(true);
    double worst = Compare("without limits", *bare, *host, rounds);
    worst = std::max(worst, Compare("with limits of time and memory", *bare, *limited, rounds));
    std::cout << "the dearest " << std::setprecision(2) << worst
              << " times a bare callback: " << (worst <= kBar ? "within " : "MISSED ") << kBar << "\n";
    return worst <= kBar ? 0 : 1;
}
