#include "Account.h"

#include <sstream>

namespace campaign::kills {

namespace {

const char* Name(Wrong inWrong) {
    switch (inWrong) {
        case Wrong::kNothing:
            return "nothing";
        case Wrong::kMissing:
            return "missing";
        case Wrong::kRepeated:
            return "came again";
        case Wrong::kOvertaken:
            return "overtaken (numbers among all that it sent)";
        case Wrong::kAnswer:
            return "answers another request than the oldest";
    }
    return "?";
}

std::string Between(std::size_t inSender, std::size_t inReceiver) {
    return "  P" + std::to_string(inReceiver) + " from P" + std::to_string(inSender) + ": ";
}

}  // namespace

std::string WhatIsWrong(const Board& inBoard, std::size_t inPlaces) {
    std::ostringstream text;
    for (std::size_t place = 0; place != inPlaces; ++place) {
        const Place& own = inBoard.mPlaces[place];
        if (own.mTroubles != 0)
            text << "  P" << place << ": " << own.mFirstTrouble.data() << " (first of " << own.mTroubles
                 << ")\n";
        for (std::size_t receiver = 0; receiver != inPlaces; ++receiver) {
            const Lane& lane = inBoard.mLanes[place][receiver];
            if (lane.mWrong != Wrong::kNothing)
                text << Between(place, receiver) << (lane.mWrongBroadcast ? "broadcast " : "message ")
                     << Name(lane.mWrong) << ": expected " << lane.mExpected << ", got " << lane.mGot << '\n';
        }
    }
    return text.str();
}

std::string WhatIsMissing(const Board& inBoard, std::size_t inPlaces) {
    std::ostringstream text;
    for (std::size_t sender = 0; sender != inPlaces; ++sender) {
        const Place& own = inBoard.mPlaces[sender];
        if (own.mUnanswered != 0) text << "  P" << sender << " waits for " << own.mUnanswered << " answers\n";
        for (std::size_t receiver = 0; receiver != inPlaces; ++receiver) {
            const Lane& lane = inBoard.mLanes[sender][receiver];
            if (lane.mReceived != lane.mSent)
                text << Between(sender, receiver) << "has " << lane.mReceived << " of " << lane.mSent
                     << " messages\n";
            const bool gets = receiver < inBoard.mMembers && receiver != sender;
            if (gets && lane.mReceivedBroadcasts != own.mBroadcasts)
                text << Between(sender, receiver) << "has " << lane.mReceivedBroadcasts << " of "
                     << own.mBroadcasts << " broadcasts\n";
        }
    }
    return text.str();
}

std::string WhoIsNotBack(const Board& inBoard, const std::vector<std::size_t>& inMembers,
                         std::uint64_t inFault) {
    std::ostringstream text;
    for (const std::size_t sender : inMembers)
        for (const std::size_t receiver : inMembers)
            if (sender != receiver && inBoard.mLanes[sender][receiver].mFault < inFault)
                text << Between(sender, receiver) << "nothing since\n";
    return text.str();
}

Totals Count(const Board& inBoard, std::size_t inPlaces) {
    Totals totals;
    for (std::size_t sender = 0; sender != inPlaces; ++sender) {
        totals.mBroadcasts += inBoard.mPlaces[sender].mBroadcasts;
        totals.mUnconfirmed += inBoard.mPlaces[sender].mUnconfirmed;
        totals.mAnswers += inBoard.mPlaces[sender].mAnswers;
        for (std::size_t receiver = 0; receiver != inPlaces; ++receiver) {
            const Lane& lane = inBoard.mLanes[sender][receiver];
            totals.mUnicasts += lane.mSent;
            totals.mArrived += lane.mReceived;
            if (receiver < inBoard.mMembers) totals.mArrived += lane.mReceivedBroadcasts;
            totals.mArrivedBytes += lane.mReceivedBytes;
        }
    }
    return totals;
}

}  // namespace campaign::kills
