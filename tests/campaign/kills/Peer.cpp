#include "Peer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "support/Texts.h"

namespace campaign::kills {

using namespace orvane::plexa::api5;

namespace {

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

std::string AppId(std::size_t inPlace) { return "P" + std::to_string(inPlace) + "-1"; }

}  // namespace

Peer::Peer(Board& ioBoard, std::size_t inPlace, std::uint64_t inSeed, bool inAwaitsAll)
    : mBoard(ioBoard),
      mPlace(inPlace),
      mOwn(ioBoard.mPlaces[inPlace]),
      mRandom(inSeed, inPlace),
      mAnswerRandom(inSeed, inPlace + kPlaces) {
    for (auto& awaited : mAwaited) awaited = inAwaitsAll ? 1 : kNever;
    IPlexaMessageDispatcher::SetConfig(AppId(inPlace).substr(0, AppId(inPlace).find('-')).c_str(), "1");
    if (IPlexaMessageDispatcher::GetInstance(&mDispatcher) != kPlexaMessageErrorCode_None)
        throw std::runtime_error("cannot obtain the dispatcher");
    mDispatcher->AddListener(this);
    mDispatcher->EnableListener(this);
}

Peer::~Peer() {
    mDispatcher->RemoveListener(this);
    IPlexaMessageDispatcher::ReleaseInstance();
}

bool Peer::KnowsAll() {
    if (!mDispatcher->IsDispatcherReady()) return false;
    for (std::size_t member = 0; member != mBoard.mMembers; ++member)
        if (!Find(member)) return false;
    return true;
}

void Peer::AwaitAllFromNowOn() {
    for (std::size_t member = 0; member != mBoard.mMembers; ++member)
        mAwaited[member] = mBoard.mPlaces[member].mBroadcasts + 1;
}

bool Peer::HasWhatItAwaits() const {
    if (mOwn.mUnanswered != 0) return false;
    for (std::size_t member = 0; member != mBoard.mMembers; ++member)
        if (mBoard.mLanes[member][mPlace].mReceivedBroadcasts < mAwaited[member]) return false;
    return true;
}

// What it sends.

void Peer::Broadcast(std::size_t inSize) {
    const std::scoped_lock lock(mSending);
    Letter letter{mPlace, Kind::kBroadcast};
    letter.mNumber = ++mOwn.mBroadcasts;
    for (std::size_t member = 0; member != mBoard.mMembers; ++member)
        mBoard.mLanes[mPlace][member].mSentBytes += inSize;
    Send(letter, inSize, EndPoint());
}

void Peer::SendAny() {
    if (mRandom.Below(100) < 15) return Broadcast(AnySize());
    std::size_t to = mRandom.Below(mBoard.mMembers);
    if (to == mPlace) to = (to + 1) % mBoard.mMembers;
    const auto endPoint = Find(to);
    if (!endPoint) return Trouble("P" + std::to_string(to) + " has vanished from the list of end points");
    const Kind kind = mRandom.OneIn(3) ? Kind::kRequest : Kind::kUnicast;
    SendTo(to, *endPoint, {mPlace, kind}, AnySize());
}

void Peer::SendTo(std::size_t inPlace, const EndPoint& inEndPoint, Letter inLetter, std::size_t inSize) {
    const std::scoped_lock lock(mSending);
    Lane& lane = mBoard.mLanes[mPlace][inPlace];
    inLetter.mNumber = ++lane.mSent;
    lane.mSentBytes += inSize;
    if (inLetter.mKind == Kind::kRequest) {
        mRequests[inPlace].push_back(inLetter.mNumber);
        ++mOwn.mUnanswered;
    }
    Send(inLetter, inSize, inEndPoint);
}

void Peer::Send(Letter inLetter, std::size_t inSize, const EndPoint& inEndPoint) {
    inLetter.mSequence = ++mSequence;
    inLetter.mFault = mBoard.mFault;
    const std::string type = std::string("campaign.") + static_cast<char>(inLetter.mKind);
    SuiteMessage message(type.c_str());
    message.SetPayload(Write(inLetter, inSize).c_str());
    message.SetSource(mDispatcher->GetSelfEndPoint());
    message.SetDestination(inEndPoint);
    const auto result = mDispatcher->SendMessage(message);
    if (result != kPlexaMessageErrorCode_None) Trouble("SendMessage returned " + std::to_string(result));
}

bool Peer::HasSentALot() const {
    std::uint64_t all = 0;
    std::uint64_t most = 0;
    for (std::size_t member = 0; member != mBoard.mMembers; ++member) {
        if (member == mPlace) continue;
        const Lane& lane = mBoard.mLanes[mPlace][member];
        const std::uint64_t owed = lane.mSentBytes - lane.mReceivedBytes;
        all += owed;
        most = std::max(most, owed);
    }
    return most > mBoard.mMostOwed / 2 || all > mBoard.mMostOwed;
}

// Mostly small.
std::size_t Peer::AnySize() {
    const auto doublings = std::min({mRandom.Below(13), mRandom.Below(13), mRandom.Below(13)});
    const std::size_t size = kSmallest << doublings;
    return std::min(size + mRandom.Below(size), kLargest);
}

std::optional<EndPoint> Peer::Find(std::size_t inPlace) {
    for (const EndPoint& endPoint : EndPoints(*mDispatcher))
        if (AppIdOf(endPoint) == AppId(inPlace)) return endPoint;
    return std::nullopt;
}

// What arrives.

void Peer::Receive(const PlexaMessage& inMessage) {
    if (const auto* error = dynamic_cast<const ErrorMessage*>(&inMessage)) return CheckError(*error);
    const auto& message = dynamic_cast<const SuiteMessage&>(inMessage);
    const std::string payload = PayloadOf(message);
    const std::optional<Letter> letter = Read(payload);
    if (!letter || letter->mSender >= kPlaces || AppIdOf(message.GetSource()) != AppId(letter->mSender))
        return Trouble("got a damaged message: " + payload.substr(0, kSmallest));
    Check(*letter, payload.size());
    if (letter->mKind == Kind::kRequest) {
        Letter answer{mPlace, Kind::kAnswer};
        answer.mRequest = letter->mNumber;
        ++mOwn.mAnswers;
        SendTo(letter->mSender, message.GetSource(), answer,
               mAnswerRandom.OneIn(100) ? kLargest : kSmallest + mAnswerRandom.Below(kSmallest));
    }
}

// A guest that leaves right after a broker was killed may have had no way to confirm what it got last, or to
// say that it leaves. It has got everything, so nobody may say that it hasn't.
void Peer::CheckError(const ErrorMessage& inError) {
    const std::string error = ErrorOf(inError);
    const std::string fault = FaultOf(inError);
    std::size_t receiver = 0;
    const bool named = std::sscanf(fault.c_str(), "P%zu-1: ", &receiver) == 1;
    const bool hasLeft = fault.ends_with(": it has left") || fault.ends_with(": its process ended") ||
                         fault.find(": it was no member any more") != std::string::npos;
    if (error == "Delivery not confirmed" && named && hasLeft && receiver >= mBoard.mMembers) {
        ++mOwn.mUnconfirmed;
    } else {
        Trouble("was told \"" + error + "\": " + fault);
    }
}

void Peer::Check(const Letter& inLetter, std::size_t inSize) {
    Lane& lane = mBoard.mLanes[inLetter.mSender][mPlace];
    std::uint64_t& last = mLastSequence[inLetter.mSender];
    if (!CheckNumber(lane, inLetter)) return;
    if (inLetter.mSequence <= last) Note(lane, inLetter, Wrong::kOvertaken, last, inLetter.mSequence);
    last = inLetter.mSequence;
    if (inLetter.mKind == Kind::kAnswer) CheckAnswer(lane, inLetter);
    lane.mReceivedBytes += inSize;
    if (inLetter.mFault > lane.mFault) {
        lane.mFaultAt = Now();
        lane.mFault = inLetter.mFault;
    }
}

bool Peer::CheckNumber(Lane& ioLane, const Letter& inLetter) {
    const bool isBroadcast = inLetter.mKind == Kind::kBroadcast;
    std::atomic<std::uint64_t>& received = isBroadcast ? ioLane.mReceivedBroadcasts : ioLane.mReceived;
    const std::uint64_t expected = received + 1;
    if (inLetter.mNumber < expected) {
        Note(ioLane, inLetter, Wrong::kRepeated, expected, inLetter.mNumber);
        return false;
    }
    // Of those that were sent around the moment in which this process became ready any may be missing.
    const std::uint64_t first = isBroadcast ? mAwaited[inLetter.mSender].load() : 1;
    if (inLetter.mNumber > std::max(expected, first))
        Note(ioLane, inLetter, Wrong::kMissing, std::max(expected, first), inLetter.mNumber);
    received = inLetter.mNumber;
    return true;
}

void Peer::CheckAnswer(Lane& ioLane, const Letter& inLetter) {
    const std::scoped_lock lock(mSending);
    auto& requests = mRequests[inLetter.mSender];
    const std::uint64_t oldest = requests.empty() ? 0 : requests.front();
    if (inLetter.mRequest != oldest) return Note(ioLane, inLetter, Wrong::kAnswer, oldest, inLetter.mRequest);
    requests.pop_front();
    --mOwn.mUnanswered;
}

void Peer::Note(Lane& ioLane, const Letter& inLetter, Wrong inWrong, std::uint64_t inExpected,
                std::uint64_t inGot) {
    if (ioLane.mWrong == Wrong::kNothing) {
        ioLane.mWrongBroadcast = inLetter.mKind == Kind::kBroadcast;
        ioLane.mExpected = inExpected;
        ioLane.mGot = inGot;
        ioLane.mWrong = inWrong;
    }
    mBoard.mWrong = true;
}

void Peer::Trouble(const std::string& inText) {
    static std::mutex sMutex;
    const std::scoped_lock lock(sMutex);
    if (mOwn.mTroubles == 0)
        std::strncpy(mOwn.mFirstTrouble.data(), inText.c_str(), mOwn.mFirstTrouble.size() - 1);
    ++mOwn.mTroubles;
    mBoard.mWrong = true;
}

}  // namespace campaign::kills
