#include "deployment/Deployment.h"

#include <algorithm>
#include <utility>

namespace orvane::plexa::zarnd {

void Deployment::TellAll(const ModuleKey& inKey, const std::vector<Request>& inRequests,
                         const Course& inCourse) {
    for (const Request& request : inRequests) {
        mActions.Tell(request.mAsker, {inKey, request.mVersion, inCourse});
    }
}

void Deployment::TellProgress(const ModuleKey& inKey, const Job& inJob, std::optional<int> inPercent) {
    if (inPercent) TellAll(inKey, inJob.mRequests, Progress{*inPercent});
}

void Deployment::Refuse(const InstallRequest& inRequest, const Error& inError) {
    mActions.Tell(inRequest.mAsker, {inRequest.mKey, inRequest.mVersion, inError});
}

bool Deployment::IsWorkedOn(const ModuleKey& inKey) const {
    return std::any_of(mJobs.begin(), mJobs.end(), [&](const auto& inJob) {
        const std::vector<std::string>& needs = inJob.second.mSpec.mNeeds;
        return inJob.first == inKey || (inJob.first.mProduct == inKey.mProduct &&
                                        std::find(needs.begin(), needs.end(), inKey.mModule) != needs.end());
    });
}

// Makes a job, unless there is one, that waits for what it needs.
void Deployment::Prepare(const std::string& inProduct, const ModuleSpec& inSpec) {
    const ModuleKey key{inProduct, inSpec.mId};
    const auto [place, isNew] = mJobs.try_emplace(key);
    if (!isNew) return;
    Job& job = place->second;
    job.mSpec = inSpec;
    mTurns.push_back(key);
    for (const std::string& needed : inSpec.mNeeds) {
        const ModuleKey neededKey{inProduct, needed};
        const auto found = mJobs.find(neededKey);
        if (found == mJobs.end()) continue;
        job.mNeeds.insert(neededKey);
        found->second.mDependents.insert(key);
    }
}

void Deployment::OnRequest(const InstallRequest& inRequest, const Plan& inPlan, Time inNow) {
    if (mRequests == kMaxRequests) {
        Refuse(inRequest, {ErrorCode::kTooManyRequests, "too many modules are being asked for"});
        return;
    }
    // A job that is there already has seen to what it needs.
    if (!mJobs.contains(inRequest.mKey)) {
        for (const PlannedModule& planned : inPlan) Prepare(inRequest.mKey.mProduct, planned.mSpec);
    }
    Job& job = mJobs.at(inRequest.mKey);
    const bool isKnown = std::any_of(job.mRequests.begin(), job.mRequests.end(), [&](const Request& inOther) {
        return inOther.mAsker == inRequest.mAsker;
    });
    if (!isKnown) {
        if (job.mRequests.empty()) {
            job.mMeter = {};
            job.mWeights.clear();
            for (const PlannedModule& planned : inPlan) {
                job.mWeights[{inRequest.mKey.mProduct, planned.mSpec.mId}] = planned.mWeight;
            }
        }
        const auto told = job.mMeter.Told();
        job.mRequests.push_back({inRequest.mAsker, inRequest.mVersion});
        ++mRequests;
        if (told) {
            TellAll(inRequest.mKey, {job.mRequests.back()}, Progress{*told});
        } else {
            TellProgress(inRequest.mKey, job, job.mMeter.OnShare(ShareOf(job), inNow));
        }
    }
    TurnUp();
}

// Starts what waits for nothing, in the order in which it was asked for.
void Deployment::TurnUp() {
    for (auto turn = mTurns.begin(); turn != mTurns.end() && mWorking < kMaxWorking;) {
        Job& job = mJobs.at(*turn);
        if (!job.mNeeds.empty()) {
            ++turn;
            continue;
        }
        const ModuleKey key = *turn;
        turn = mTurns.erase(turn);
        job.mState = Job::State::kWorking;
        ++mWorking;
        mActions.StartWork(key, job.mSpec);
    }
}

bool Deployment::OnCancel(const Asker& inAsker, const ModuleKey& inKey) {
    const auto found = mJobs.find(inKey);
    if (found == mJobs.end()) return false;
    Job& job = found->second;
    const auto request = std::find_if(job.mRequests.begin(), job.mRequests.end(),
                                      [&](const Request& inRequest) { return inRequest.mAsker == inAsker; });
    if (request == job.mRequests.end()) return false;
    Request takenBack = std::move(*request);
    job.mRequests.erase(request);
    --mRequests;
    if (!job.IsWanted() && job.mState == Job::State::kWorking) {
        // Too late it may be: the end of the work says what became of the request.
        job.mTakenBack.push_back(std::move(takenBack));
    } else {
        TellAll(inKey, {takenBack}, CancelledByAsker{});
    }
    if (!job.IsWanted()) Abandon(inKey);
    TurnUp();
    return true;
}

// Nobody wants the job any more.
void Deployment::Abandon(const ModuleKey& inKey) {
    Job& job = mJobs.at(inKey);
    if (job.mState == Job::State::kWorking) {
        job.mState = Job::State::kStopping;
        job.mShare = 0;  // who asks from now on waits for other work
        mActions.StopWork(inKey);
    } else if (job.mState == Job::State::kWaiting) {
        const std::set<ModuleKey> needs = std::move(job.mNeeds);
        std::erase(mTurns, inKey);
        mJobs.erase(inKey);
        ReleaseNeeds(inKey, needs);
    }
}

void Deployment::ReleaseNeeds(const ModuleKey& inKey, const std::set<ModuleKey>& inNeeds) {
    for (const ModuleKey& needed : inNeeds) {
        const auto found = mJobs.find(needed);
        if (found == mJobs.end()) continue;
        found->second.mDependents.erase(inKey);
        if (!found->second.IsWanted()) Abandon(needed);
    }
}

// The share of all that a job's requests wait for; what is no job any more is done.
double Deployment::ShareOf(const Job& inJob) const {
    double done = 0;
    double whole = 0;
    for (const auto& [key, weight] : inJob.mWeights) {
        const auto found = mJobs.find(key);
        whole += static_cast<double>(weight);
        done += static_cast<double>(weight) * (found == mJobs.end() ? 1.0 : found->second.mShare);
    }
    return whole > 0 ? done / whole : 0;
}

void Deployment::OnShare(const ModuleKey& inKey, double inShare, Time inNow) {
    const auto found = mJobs.find(inKey);
    if (found == mJobs.end() || found->second.mState != Job::State::kWorking) return;
    found->second.mShare = std::max(found->second.mShare, inShare);
    for (auto& [key, job] : mJobs) {
        if (job.mRequests.empty() || !job.mWeights.contains(inKey)) continue;
        TellProgress(key, job, job.mMeter.OnShare(ShareOf(job), inNow));
    }
}

void Deployment::OnTime(Time inNow) {
    for (auto& [key, job] : mJobs) {
        if (!job.mRequests.empty()) TellProgress(key, job, job.mMeter.OnTime(inNow));
    }
}

std::optional<Deployment::Time> Deployment::NextTime() const {
    std::optional<Time> next;
    for (const auto& [key, job] : mJobs) {
        const auto due = job.mRequests.empty() ? std::nullopt : job.mMeter.Due();
        if (due && (!next || *due < *next)) next = due;
    }
    return next;
}

void Deployment::OnDone(const ModuleKey& inKey, const Outcome& inOutcome, Time /*inNow*/) {
    const auto found = mJobs.find(inKey);
    if (found == mJobs.end()) return;  // it was ended with all others
    --mWorking;
    const bool wasStopping = found->second.mState == Job::State::kStopping;
    if (std::holds_alternative<Completed>(inOutcome)) {
        Complete(inKey);
    } else {
        TellAll(inKey, std::exchange(found->second.mTakenBack, {}), CancelledByAsker{});
        if (wasStopping) {
            WorkAgain(inKey);
        } else {
            const auto* const error = std::get_if<Error>(&inOutcome);
            Fail(inKey, error != nullptr ? *error : Error{ErrorCode::kInternal, "the work has been stopped"});
        }
    }
    TurnUp();
}

void Deployment::Complete(const ModuleKey& inKey) {
    const Job job = std::move(mJobs.at(inKey));
    mJobs.erase(inKey);
    mRequests -= job.mRequests.size();
    TellAll(inKey, job.mTakenBack, Completed{});
    TellAll(inKey, job.mRequests, Progress{100});
    TellAll(inKey, job.mRequests, Completed{});
    for (const ModuleKey& dependent : job.mDependents) mJobs.at(dependent).mNeeds.erase(inKey);
}

// Ends a job that doesn't work, and those that need it.
void Deployment::Fail(const ModuleKey& inKey, const Error& inError) {
    Job job = std::move(mJobs.at(inKey));
    std::erase(mTurns, inKey);
    mJobs.erase(inKey);
    mRequests -= job.mRequests.size();
    TellAll(inKey, job.mRequests, inError);
    // The names of processes are to be read by programs, and stay as they are.
    const bool isPlain = inError.mCode == ErrorCode::kConflictingProcesses;
    const Error forOthers{
        inError.mCode,
        isPlain ? inError.mMetadata : "the needed module " + inKey.mModule + ": " + inError.mMetadata};
    for (const ModuleKey& dependent : job.mDependents) {
        if (mJobs.contains(dependent)) Fail(dependent, forOthers);
    }
    ReleaseNeeds(inKey, job.mNeeds);
}

// What has been stopped is over, or begins anew for those who have asked since.
void Deployment::WorkAgain(const ModuleKey& inKey) {
    Job& job = mJobs.at(inKey);
    if (!job.IsWanted()) {
        mJobs.erase(inKey);
        return;
    }
    job.mState = Job::State::kWaiting;
    mTurns.push_back(inKey);
}

void Deployment::End(const Error& inError) {
    for (auto& [key, job] : mJobs) {
        TellAll(key, std::exchange(job.mTakenBack, {}), CancelledByAsker{});
        TellAll(key, std::exchange(job.mRequests, {}), inError);
        if (job.mState == Job::State::kWorking) mActions.StopWork(key);
    }
    mJobs.clear();
    mTurns.clear();
    mWorking = 0;
    mRequests = 0;
}

}  // namespace orvane::plexa::zarnd
