#include "deployment/Deployment.h"

#include <algorithm>
#include <utility>

namespace orvane::plexa::zarnd {

void Deployment::TellAll(const ModuleKey& inKey, const Requests& inRequests, const Course& inCourse) {
    for (const auto& [asker, request] : inRequests) {
        mActions.Tell(asker, {inKey, request.mVersion, inCourse});
    }
}

void Deployment::EndRequests(const ModuleKey& inKey, Requests& ioRequests, const Course& inCourse) {
    const Requests ended = std::exchange(ioRequests, {});
    mRequests -= ended.size();
    TellAll(inKey, ended, inCourse);
}

bool Deployment::IsAwaited(const Asker& inAsker, const ModuleKey& inKey) const {
    const auto found = mJobs.find(inKey);
    return found != mJobs.end() && found->second.mRequests.contains(inAsker);
}

void Deployment::Refuse(const InstallRequest& inRequest, const Error& inError) {
    if (IsAwaited(inRequest.mAsker, inRequest.mKey)) return;
    if (const auto found = mJobs.find(inRequest.mKey); found != mJobs.end()) {
        // The request that was taken back ends with this one.
        mRequests -= found->second.mTakenBack.erase(inRequest.mAsker);
    }
    mActions.Tell(inRequest.mAsker, {inRequest.mKey, inRequest.mVersion, inError});
}

bool Deployment::IsWorkedOn(const ModuleKey& inKey) const {
    return std::any_of(mJobs.begin(), mJobs.end(), [&](const auto& inJob) {
        const std::vector<std::string>& needs = inJob.second.mSpec.mNeeds;
        return inJob.first == inKey || (inJob.first.mProduct == inKey.mProduct &&
                                        std::find(needs.begin(), needs.end(), inKey.mModule) != needs.end());
    });
}

// Makes a job that waits for what it needs, unless there is one. One that still waits is for what the
// catalogue says now; one that is being stopped will begin anew. One that is worked on waits for nothing, so
// that no two jobs wait for each other: what they wait for is of one state of the catalogue.
std::set<ModuleKey> Deployment::Prepare(const std::string& inProduct, const ModuleSpec& inSpec) {
    const ModuleKey key{inProduct, inSpec.mId};
    const auto [place, isNew] = mJobs.try_emplace(key);
    Job& job = place->second;
    const bool isSame = !isNew && job.mSpec == inSpec;
    if (job.mState == Job::State::kWorking || (job.mState == Job::State::kWaiting && isSame)) return {};
    job.mIsRenewed = job.mState == Job::State::kStopping && (job.mIsRenewed || !isSame);
    job.mSpec = inSpec;
    mReady.erase(job.mTurn);
    std::set<ModuleKey> before = std::exchange(job.mNeeds, {});
    for (const ModuleKey& needed : before) mJobs.at(needed).mDependents.erase(key);
    for (const std::string& needed : inSpec.mNeeds) {
        const auto found = mJobs.find({inProduct, needed});
        if (found == mJobs.end()) continue;
        job.mNeeds.insert(found->first);
        found->second.mDependents.insert(key);
    }
    if (isNew) job.mTurn = ++mLastTurn;
    if (job.mState == Job::State::kWaiting && job.mNeeds.empty()) mReady.emplace(job.mTurn, key);
    return before;
}

void Deployment::OnRequest(const InstallRequest& inRequest, const Plan& inPlan, Time inNow) {
    const auto& [asker, key, version, start] = inRequest;
    if (IsAwaited(asker, key)) return;
    const auto known = mJobs.find(key);
    const bool wasTakenBack = known != mJobs.end() && known->second.mTakenBack.contains(asker);
    if (mRequests == kMaxRequests && !wasTakenBack) {
        Refuse(inRequest, {ErrorCode::kTooManyRequests, "too many modules are being asked for"});
        return;
    }
    // A job that is worked on has seen to what it needs.
    std::set<ModuleKey> needless;
    bool isOther = false;
    if (known == mJobs.end() || known->second.mState != Job::State::kWorking) {
        isOther = known != mJobs.end() && known->second.mSpec != inPlan.back().mSpec;
        for (const PlannedModule& planned : inPlan) needless.merge(Prepare(key.mProduct, planned.mSpec));
    }
    Job& job = mJobs.at(key);
    if (isOther) Unwatch(key, job);
    if (isOther || job.mRequests.empty()) Watch(key, job, inPlan);
    Request& request = job.mRequests[asker];
    if (wasTakenBack) {
        request = job.mTakenBack.extract(asker).mapped();
    } else {
        ++mRequests;
    }
    request.mVersion = version;
    request.mStart = start;
    // Of what was planned a job that goes on may need nothing: it has seen to that.
    for (const PlannedModule& planned : inPlan) needless.insert({key.mProduct, planned.mSpec.mId});
    for (const ModuleKey& needed : needless) {
        const auto found = mJobs.find(needed);
        if (found != mJobs.end() && !found->second.IsWanted()) Abandon(needed);
    }
    if (const auto told = job.mMeter.Told()) {
        TellPercent(key, asker, request, *told);
    } else {
        TellShare(key, job, inNow);
    }
    TurnUp();
}

// Gives a job that waits the turn after all others.
void Deployment::AwaitTurn(const ModuleKey& inKey, Job& ioJob) {
    ioJob.mTurn = ++mLastTurn;
    if (ioJob.mNeeds.empty()) mReady.emplace(ioJob.mTurn, inKey);
}

// Starts what waits for nothing, in the order in which it was asked for.
void Deployment::TurnUp() {
    while (!mReady.empty() && mWorking < kMaxWorking) {
        const ModuleKey key = mReady.extract(mReady.begin()).mapped();
        Job& job = mJobs.at(key);
        job.mState = Job::State::kWorking;
        ++mWorking;
        mActions.StartWork(key, job.mSpec);
    }
}

// A job without requests goes; what refers to it has been seen to.
void Deployment::Remove(const ModuleKey& inKey) {
    const auto found = mJobs.find(inKey);
    Unwatch(inKey, found->second);
    mReady.erase(found->second.mTurn);
    mJobs.erase(found);
}

bool Deployment::OnCancel(const Asker& inAsker, const ModuleKey& inKey) {
    if (!IsAwaited(inAsker, inKey)) return false;
    Job& job = mJobs.at(inKey);
    Requests takenBack;
    takenBack.insert(job.mRequests.extract(inAsker));
    if (job.mRequests.empty()) Unwatch(inKey, job);
    if (!job.IsWanted() && job.mState != Job::State::kWaiting) {
        // Too late it may be: the end of the work says what became of the request.
        job.mTakenBack.merge(takenBack);
    } else {
        EndRequests(inKey, takenBack, CancelledByAsker{});
    }
    if (!job.IsWanted()) Abandon(inKey);
    TurnUp();
    return true;
}

// Nobody wants the job any more.
void Deployment::Abandon(const ModuleKey& inKey) {
    Job& job = mJobs.at(inKey);
    const std::set<ModuleKey> needs = std::exchange(job.mNeeds, {});
    if (job.mState == Job::State::kWorking) {
        job.mState = Job::State::kStopping;
        job.mShare = 0;  // who asks from now on waits for other work
        mActions.StopWork(inKey);
    } else if (job.mState == Job::State::kWaiting) {
        Remove(inKey);
    }
    ReleaseNeeds(inKey, needs);
}

void Deployment::ReleaseNeeds(const ModuleKey& inKey, const std::set<ModuleKey>& inNeeds) {
    for (const ModuleKey& needed : inNeeds) {
        const auto found = mJobs.find(needed);
        if (found == mJobs.end()) continue;
        found->second.mDependents.erase(inKey);
        if (!found->second.IsWanted()) Abandon(needed);
    }
}

void Deployment::OnDone(const ModuleKey& inKey, const Outcome& inOutcome, Time /*inNow*/) {
    const auto found = mJobs.find(inKey);
    if (found == mJobs.end()) return;  // it was ended with all others
    --mWorking;
    Job& job = found->second;
    const bool wasStopping = job.mState == Job::State::kStopping;
    const bool isDone = std::holds_alternative<Completed>(inOutcome);
    EndRequests(inKey, job.mTakenBack, isDone ? Course(Completed{}) : Course(CancelledByAsker{}));
    if (isDone && !job.mIsRenewed) {
        Complete(inKey);
    } else if (wasStopping) {
        WorkAgain(inKey);
    } else {
        const auto* const error = std::get_if<Error>(&inOutcome);
        Fail(inKey, error != nullptr ? *error : Error{ErrorCode::kInternal, "the work has been stopped"});
    }
    TurnUp();
}

void Deployment::Complete(const ModuleKey& inKey) {
    Job& job = mJobs.at(inKey);
    TellAll(inKey, job.mRequests, Progress{100});
    EndRequests(inKey, job.mRequests, Completed{});
    for (const ModuleKey& dependent : job.mDependents) {
        Job& waiting = mJobs.at(dependent);
        waiting.mNeeds.erase(inKey);
        if (waiting.mNeeds.empty() && waiting.mState == Job::State::kWaiting) {
            mReady.emplace(waiting.mTurn, dependent);
        }
    }
    const std::set<ModuleKey> needs = std::exchange(job.mNeeds, {});
    Remove(inKey);
    ReleaseNeeds(inKey, needs);
}

// Ends those who wait for a job that doesn't work, or is being stopped, and those that need it.
void Deployment::Fail(const ModuleKey& inKey, const Error& inError) {
    Job& job = mJobs.at(inKey);
    EndRequests(inKey, job.mRequests, inError);
    const std::set<ModuleKey> dependents = std::exchange(job.mDependents, {});
    const std::set<ModuleKey> needs = std::exchange(job.mNeeds, {});
    if (job.mState == Job::State::kStopping) {
        Unwatch(inKey, job);
    } else {
        Remove(inKey);
    }
    // The names of processes are to be read by programs, and stay as they are.
    const bool isPlain = inError.mCode == ErrorCode::kConflictingProcesses;
    const Error forOthers{
        inError.mCode,
        isPlain ? inError.mMetadata : "the needed module " + inKey.mModule + ": " + inError.mMetadata};
    for (const ModuleKey& dependent : dependents) {
        if (mJobs.contains(dependent)) Fail(dependent, forOthers);
    }
    ReleaseNeeds(inKey, needs);
}

// What has been stopped is over, or begins anew for those who have asked since, as the catalogue says now.
void Deployment::WorkAgain(const ModuleKey& inKey) {
    Job& job = mJobs.at(inKey);
    if (!job.IsWanted()) {
        const std::set<ModuleKey> needs = std::exchange(job.mNeeds, {});
        Remove(inKey);
        ReleaseNeeds(inKey, needs);
        return;
    }
    job.mState = Job::State::kWaiting;
    job.mIsRenewed = false;
    AwaitTurn(inKey, job);
}

void Deployment::End(const Error& inError) {
    for (auto& [key, job] : mJobs) {
        EndRequests(key, job.mTakenBack, CancelledByAsker{});
        EndRequests(key, job.mRequests, inError);
        if (job.mState == Job::State::kWorking) mActions.StopWork(key);
    }
    mJobs.clear();
    mReady.clear();
    mWatchers.clear();
    mDue.clear();
    mWorking = 0;
}

}  // namespace orvane::plexa::zarnd
