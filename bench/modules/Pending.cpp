// What an event costs the module service, from the state machine to the payload that is sent, while few
// modules are being asked for and while many are: in turns, with the ratio of the medians.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bus/Payload.h"
#include "deployment/Deployment.h"

namespace {

using namespace orvane::plexa::zarnd;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 201;
constexpr int kEventsInARound = 1000;

/// Deployments that are told, with the time and the work as the measurement says.
class Measured : protected IDeploymentActions {
  public:
    [[nodiscard]] std::size_t Count() const { return mCount; }

  protected:
    void StartWork(const ModuleKey& /*inKey*/, const ModuleSpec& /*inModule*/) override {}
    void StopWork(const ModuleKey& /*inKey*/) override {}
    void Tell(const Asker& /*inAsker*/, const DeploymentEvent& inEvent) override {
        mCount += WriteEvent(inEvent).empty() ? 0 : 1;
    }
    /// The request of a process of its own.
    void Request(std::size_t inNumber, const Plan& inPlan) {
        mDeployment.OnRequest({AskerOf(inNumber), {"QRTX", inPlan.back().mSpec.mId}, "20.0"}, inPlan, mNow);
    }
    static Asker AskerOf(std::size_t inNumber) {
        return {"HOST-1.0", inNumber, static_cast<std::int32_t>(inNumber)};
    }
    static PlannedModule Planned(const std::string& inModule) {
        PlannedModule planned;
        planned.mSpec.mId = inModule;
        planned.mWeight = 1000;
        return planned;
    }

    Deployment mDeployment{*this};
    Deployment::Time mNow = Clock::now();
    double mShare = 0;

  private:
    std::size_t mCount = 0;
};

/// So many requests of as many processes, each for a module of its own. Three modules are worked on.
class Pending : public Measured {
  public:
    explicit Pending(std::size_t inRequests) {
        for (std::size_t number = 0; number != inRequests; ++number) Request(number);
    }

    /// The work has come further: told at once, or held back and told when it is due.
    void Share() {
        if (mShare >= 1) Renew();
        mNow += std::chrono::milliseconds(30);
        mShare += 0.001;
        mDeployment.OnShare(KeyOf(mWorkedOn), mShare, mNow);
        if (const auto next = mDeployment.NextTime(); next && *next <= mNow) mDeployment.OnTime(mNow);
    }
    /// Somebody asks for one more module, and thinks better of it.
    void RequestAndCancel() {
        Request(Deployment::kMaxRequests);
        mDeployment.OnCancel(AskerOf(Deployment::kMaxRequests), KeyOf(Deployment::kMaxRequests));
        mDeployment.OnTime(mNow);
    }
    /// A module is there, the next one's turn comes, and it is asked for again.
    void Renew() {
        mDeployment.OnDone(KeyOf(mWorkedOn), Completed{}, mNow);
        Request(mWorkedOn);
        mWorkedOn = mStarted;
        mShare = 0;
    }

  private:
    static ModuleKey KeyOf(std::size_t inNumber) { return {"QRTX", "MODULE-" + std::to_string(inNumber)}; }
    void Request(std::size_t inNumber) { Measured::Request(inNumber, {Planned(KeyOf(inNumber).mModule)}); }
    void StartWork(const ModuleKey& inKey, const ModuleSpec& /*inModule*/) override {
        mStarted = std::stoul(inKey.mModule.substr(inKey.mModule.find('-') + 1));
    }

    std::size_t mWorkedOn = 0;
    std::size_t mStarted = 0;
};

/// A module that is worked on, and so many that wait for it, each asked for by a process of its own.
class NeededByMany : public Measured {
  public:
    explicit NeededByMany(std::size_t inDependents) {
        for (std::size_t number = 0; number != inDependents; ++number) {
            PlannedModule planned = Planned("MODULE-" + std::to_string(number));
            planned.mSpec.mNeeds = {"BASE"};
            Request(number, {Planned("BASE"), planned});
        }
    }
    /// The work has come a percent further, of which everybody is told.
    void Share() {
        mNow += std::chrono::milliseconds(60);
        mShare += 0.02;
        mDeployment.OnShare({"QRTX", "BASE"}, mShare, mNow);
    }
};

void MeasureNeededByMany() {
    constexpr int kPercent = 40;
    NeededByMany needed(kMaxModules - 1);
    const std::size_t before = needed.Count();
    const auto begin = Clock::now();
    for (int event = 0; event != kPercent; ++event) needed.Share();
    const std::chrono::duration<double, std::milli> time = Clock::now() - begin;
    std::printf("progress of one that %zu wait for: %.2f ms an event, %zu told of each\n", kMaxModules - 1,
                time.count() / kPercent, (needed.Count() - before) / kPercent);
}

double NanosecondsOf(const std::function<void()>& inEvent) {
    const auto begin = Clock::now();
    for (int event = 0; event != kEventsInARound; ++event) inEvent();
    const std::chrono::duration<double, std::nano> time = Clock::now() - begin;
    return time.count() / kEventsInARound;
}

double MedianOf(std::vector<double> inTimes) {
    std::nth_element(inTimes.begin(), inTimes.begin() + inTimes.size() / 2, inTimes.end());
    return inTimes[inTimes.size() / 2];
}

}  // namespace

int main() {
#ifdef BENCH_UNOPTIMISED
    std::puts("built without optimisation: the figures mean little");
#endif
    constexpr std::size_t kFew = 10;
    constexpr std::size_t kMany = Deployment::kMaxRequests - 1;
    Pending few(kFew);
    Pending many(kMany);
    const std::vector<std::pair<const char*, void (Pending::*)()>> events = {
        {"progress", &Pending::Share},
        {"request and cancellation", &Pending::RequestAndCancel},
        {"completion and request", &Pending::Renew}};
    std::printf("%-26s %10s %10s %7s\n", "nanoseconds with so many:", std::to_string(kFew).c_str(),
                std::to_string(kMany).c_str(), "ratio");
    for (const auto& [name, operation] : events) {
        const auto event = operation;  // Clang 14 captures no part of a pair
        std::vector<double> timesOfFew;
        std::vector<double> timesOfMany;
        for (int round = 0; round != kRounds; ++round) {
            timesOfFew.push_back(NanosecondsOf([&] { (few.*event)(); }));
            timesOfMany.push_back(NanosecondsOf([&] { (many.*event)(); }));
        }
        const double ofFew = MedianOf(timesOfFew);
        const double ofMany = MedianOf(timesOfMany);
        std::printf("%-26s %10.0f %10.0f %7.2f\n", name, ofFew, ofMany, ofMany / ofFew);
    }
    MeasureNeededByMany();
    std::printf("(%zu events told)\n", few.Count() + many.Count());
    return 0;
}
