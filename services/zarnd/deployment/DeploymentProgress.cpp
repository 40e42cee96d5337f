// What is told of the way to a module. Nothing here takes longer when more modules are being asked for.
#include <algorithm>

#include "deployment/Deployment.h"

namespace orvane::plexa::zarnd {

// From now on the job has requests: their progress is that of the plan.
void Deployment::Watch(const ModuleKey& inKey, Job& ioJob, const Plan& inPlan) {
    ioJob.mMeter = {};
    for (const PlannedModule& planned : inPlan) {
        const ModuleKey part{inKey.mProduct, planned.mSpec.mId};
        ioJob.mWeights[part] = planned.mWeight;
        mWatchers[part].insert(inKey);
    }
}

void Deployment::Unwatch(const ModuleKey& inKey, Job& ioJob) {
    for (const auto& [part, weight] : ioJob.mWeights) {
        const auto watchers = mWatchers.find(part);
        watchers->second.erase(inKey);
        if (watchers->second.empty()) mWatchers.erase(watchers);
    }
    ioJob.mWeights.clear();
    if (ioJob.mDue) mDue.erase({*ioJob.mDue, inKey});
    ioJob.mDue.reset();
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

void Deployment::TellShare(const ModuleKey& inKey, Job& ioJob, Time inNow) {
    TellProgress(inKey, ioJob, ioJob.mMeter.OnShare(ShareOf(ioJob), inNow));
}

void Deployment::TellProgress(const ModuleKey& inKey, Job& ioJob, std::optional<int> inPercent) {
    if (inPercent) {
        for (auto& [asker, request] : ioJob.mRequests) TellPercent(inKey, asker, request, *inPercent);
    }
    const std::optional<Time> due = ioJob.mMeter.Due();
    if (due == ioJob.mDue) return;
    if (ioJob.mDue) mDue.erase({*ioJob.mDue, inKey});
    if (due) mDue.emplace(*due, inKey);
    ioJob.mDue = due;
}

void Deployment::TellPercent(const ModuleKey& inKey, const Asker& inAsker, Request& ioRequest,
                             int inPercent) {
    // Work that has begun anew is behind what has been told of the work before.
    if (inPercent <= ioRequest.mTold) return;
    ioRequest.mTold = inPercent;
    mActions.Tell(inAsker, {inKey, ioRequest.mVersion, Progress{inPercent}});
}

void Deployment::OnShare(const ModuleKey& inKey, double inShare, Time inNow) {
    const auto found = mJobs.find(inKey);
    if (found == mJobs.end() || found->second.mState != Job::State::kWorking) return;
    found->second.mShare = std::max(found->second.mShare, inShare);
    const auto watchers = mWatchers.find(inKey);
    if (watchers == mWatchers.end()) return;
    for (const ModuleKey& key : watchers->second) {
        Job& job = mJobs.at(key);
        // What seemed to be there, and is brought all the same, has its weight.
        std::uint64_t& weight = job.mWeights.at(inKey);
        if (weight == 0) weight = found->second.mSpec.mSize;
        TellShare(key, job, inNow);
    }
}

void Deployment::OnTime(Time inNow) {
    while (!mDue.empty() && mDue.begin()->first <= inNow) {
        const ModuleKey key = mDue.begin()->second;
        Job& job = mJobs.at(key);
        TellProgress(key, job, job.mMeter.OnTime(inNow));
    }
}

std::optional<Deployment::Time> Deployment::NextTime() const {
    if (mDue.empty()) return std::nullopt;
    return mDue.begin()->first;
}

}  // namespace orvane::plexa::zarnd
