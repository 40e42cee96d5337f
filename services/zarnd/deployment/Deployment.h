/// Who is owed which module, and what is done about it. No I/O, no threads, no clock of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "deployment/Types.h"
#include "processes/ProcessStart.h"
#include "progress/ProgressMeter.h"

namespace orvane::plexa::zarnd {

/// What the state machine wants done.
class IDeploymentActions {
  public:
    IDeploymentActions() = default;
    IDeploymentActions(const IDeploymentActions&) = delete;
    IDeploymentActions& operator=(const IDeploymentActions&) = delete;
    virtual ~IDeploymentActions() = default;

    /// Begin to work on a module. Its end is told with `Deployment::OnDone`, not from inside this call.
    virtual void StartWork(const ModuleKey& inKey, const ModuleSpec& inModule) = 0;
    /// Nobody wants it any more; its end is told all the same, whichever it is.
    virtual void StopWork(const ModuleKey& inKey) = 0;
    virtual void Tell(const Asker& inAsker, const DeploymentEvent& inEvent) = 0;
};

/// One piece of work a module, however many ask for it; what it needs is worked on first. Each request ends
/// with exactly one of completed, error, cancelled; requests of one asker for one module at a time are one
/// request, because events name nothing but the module: also one that has been taken back, as long as its
/// end has not been told. What an asker is told of one request never falls. One thread.
class Deployment {
  public:
    using Time = ProgressMeter::Time;
    static constexpr std::size_t kMaxWorking = 3;
    static constexpr std::size_t kMaxRequests = 10'000;

    explicit Deployment(IDeploymentActions& ioActions) : mActions(ioActions) {}

    /// Whether an asker waits for a module already: one more request changes nothing.
    [[nodiscard]] bool IsAwaited(const Asker& inAsker, const ModuleKey& inKey) const;
    void OnRequest(const InstallRequest& inRequest, const Plan& inPlan, Time inNow);
    /// The request can't be planned. Does not end one that the asker waits for already.
    void Refuse(const InstallRequest& inRequest, const Error& inError);
    /// Takes an asker's request back. False when there is none.
    bool OnCancel(const Asker& inAsker, const ModuleKey& inKey);

    /// These are on the bus now: what a process asked for that has come back under another end point is to be
    /// told there.
    void OnEndPoints(const std::vector<Asker>& inEndPoints, const StartOfProcess& inStartOf);

    void OnShare(const ModuleKey& inKey, double inShare, Time inNow);
    void OnDone(const ModuleKey& inKey, const Outcome& inOutcome, Time inNow);
    /// Tells progress that was held back.
    void OnTime(Time inNow);
    [[nodiscard]] std::optional<Time> NextTime() const;

    /// Ends all requests with an error; the work is stopped.
    void End(const Error& inError);

    /// Whether work on the module, or on one that needs it, is going on or waits.
    [[nodiscard]] bool IsWorkedOn(const ModuleKey& inKey) const;
    [[nodiscard]] bool IsIdle() const noexcept { return mJobs.empty(); }

  private:
    struct Request {
        std::string mVersion;
        int mTold = -1;  ///< percentage; none yet
        std::uint64_t mStart = 0;
    };
    using Requests = std::map<Asker, Request>;
    struct Job {
        enum class State {
            kWaiting,   ///< for modules that it needs, or for its turn
            kWorking,   ///< `StartWork` has been called
            kStopping,  ///< and `StopWork` after it
        };
        ModuleSpec mSpec;
        State mState = State::kWaiting;
        bool mIsRenewed = false;  ///< while it is stopping: the catalogue says otherwise by now
        std::uint64_t mTurn = 0;  ///< while it is waiting
        double mShare = 0;
        Requests mRequests;
        Requests mTakenBack;                          ///< while it is stopping
        std::set<ModuleKey> mNeeds;                   ///< not yet there
        std::set<ModuleKey> mDependents;              ///< that wait for this one
        std::map<ModuleKey, std::uint64_t> mWeights;  ///< of all that its requests wait for
        ProgressMeter mMeter;
        std::optional<Time> mDue;  ///< of its progress

        [[nodiscard]] bool IsWanted() const { return !mRequests.empty() || !mDependents.empty(); }
    };

    /// Returns what a job needs no more.
    std::set<ModuleKey> Prepare(const std::string& inProduct, const ModuleSpec& inSpec);
    void TurnUp();
    void AwaitTurn(const ModuleKey& inKey, Job& ioJob);
    void Remove(const ModuleKey& inKey);
    void Abandon(const ModuleKey& inKey);
    void ReleaseNeeds(const ModuleKey& inKey, const std::set<ModuleKey>& inNeeds);
    void Complete(const ModuleKey& inKey);
    void Fail(const ModuleKey& inKey, const Error& inError);
    void WorkAgain(const ModuleKey& inKey);
    void EndRequests(const ModuleKey& inKey, Requests& ioRequests, const Course& inCourse);
    void TellAll(const ModuleKey& inKey, const Requests& inRequests, const Course& inCourse);

    // Askers that come back (DeploymentAskers.cpp).
    struct Presence;
    void Move(Requests& ioRequests, const Presence& inPresence);

    // Progress (DeploymentProgress.cpp).
    void Watch(const ModuleKey& inKey, Job& ioJob, const Plan& inPlan);
    void Unwatch(const ModuleKey& inKey, Job& ioJob);
    [[nodiscard]] double ShareOf(const Job& inJob) const;
    void TellShare(const ModuleKey& inKey, Job& ioJob, Time inNow);
    void TellProgress(const ModuleKey& inKey, Job& ioJob, std::optional<int> inPercent);
    void TellPercent(const ModuleKey& inKey, const Asker& inAsker, Request& ioRequest, int inPercent);

    IDeploymentActions& mActions;
    std::unordered_map<ModuleKey, Job, ModuleKeyHash> mJobs;
    std::map<std::uint64_t, ModuleKey> mReady;  // waiting for nothing but their turn
    std::uint64_t mLastTurn = 0;
    // Jobs, by the modules in their progress.
    std::unordered_map<ModuleKey, std::set<ModuleKey>, ModuleKeyHash> mWatchers;
    std::set<std::pair<Time, ModuleKey>> mDue;  // when a job's progress is to be told
    std::size_t mWorking = 0;
    std::size_t mRequests = 0;  // those that have been taken back too
};

}  // namespace orvane::plexa::zarnd
