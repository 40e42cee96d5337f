// Processes that come back to the bus under another end point.
#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "deployment/Deployment.h"

namespace orvane::plexa::zarnd {

struct Deployment::Presence {
    std::set<Asker> mEndPoints;
    std::map<std::pair<std::string, std::int32_t>, Asker> mPlaces;  // by app id and process id
    const StartOfProcess& mStartOf;

    /// Where a process that has gone has come back to.
    [[nodiscard]] const Asker* NewPlaceOf(const Asker& inAsker, std::uint64_t inStart) const {
        if (inStart == 0 || mEndPoints.contains(inAsker)) return nullptr;
        const auto found = mPlaces.find({inAsker.mAppId, inAsker.mProcessId});
        // The id may be another process's by now.
        if (found == mPlaces.end() || mStartOf(inAsker.mProcessId) != inStart) return nullptr;
        return &found->second;
    }
};

void Deployment::OnEndPoints(const std::vector<Asker>& inEndPoints, const StartOfProcess& inStartOf) {
    if (mRequests == 0) return;
    Presence presence{{inEndPoints.begin(), inEndPoints.end()}, {}, inStartOf};
    for (const Asker& endPoint : inEndPoints) {
        presence.mPlaces[{endPoint.mAppId, endPoint.mProcessId}] = endPoint;
    }
    for (auto& [key, job] : mJobs) {
        Move(job.mRequests, presence);
        Move(job.mTakenBack, presence);
        // Of one process for one module they are one request, which has one end.
        mRequests -= std::erase_if(job.mTakenBack, [&requests = job.mRequests](const auto& inTakenBack) {
            return requests.contains(inTakenBack.first);
        });
    }
}

void Deployment::Move(Requests& ioRequests, const Presence& inPresence) {
    std::vector<std::pair<Asker, Asker>> moves;
    for (const auto& [asker, request] : ioRequests) {
        if (const Asker* const place = inPresence.NewPlaceOf(asker, request.mStart)) {
            moves.emplace_back(asker, *place);
        }
    }
    for (const auto& [before, now] : moves) {
        auto node = ioRequests.extract(before);
        node.key() = now;
        const auto moved = ioRequests.insert(std::move(node));
        if (moved.inserted) continue;
        --mRequests;  // it has asked again from there
        int& told = moved.position->second.mTold;
        told = std::max(told, moved.node.mapped().mTold);
    }
}

}  // namespace orvane::plexa::zarnd
