// Taking messages from the host.
#include <limits>
#include <new>
#include <utility>

#include "MessageAccess.h"
#include "Session.h"

namespace orvane::plexa::message5 {

using api5::MessageAccess;
using api5::PlexaMessageErrorCode;
using wire::TimePoint;
using Clock = std::chrono::steady_clock;

namespace {

/// It is quiet while no more than so many writes were made since the last inbound frame, or in so much time.
constexpr int kQuietWrites = 4;
constexpr wire::Duration kQuietTime = std::chrono::microseconds(100);
/// What is sent while deliveries go on waits for their end, but no longer than this.
constexpr wire::Duration kBatchAge = std::chrono::microseconds(200);
/// What failures may take that nobody has been told of.
constexpr std::size_t kMostFailureBytes = std::size_t{64} << 20U;

wire::EndPointInfo InfoOf(const api5::EndPoint& inEndPoint) {
    return {AppIdOf(inEndPoint), static_cast<std::uint32_t>(inEndPoint.GetInstance()),
            static_cast<std::uint32_t>(inEndPoint.GetProcessId())};
}

std::span<const std::byte> Bytes(std::string_view inText) {
    return {reinterpret_cast<const std::byte*>(inText.data()), inText.size()};
}

}  // namespace

PlexaMessageErrorCode Session::Send(const api5::SuiteMessage& inMessage) {
    if (MessageAccess::Type(inMessage).size() > mLimits.maxTypeText ||
        MessageAccess::Payload(inMessage).size() > mLimits.maxPayload) {
        return api5::kPlexaMessageErrorCode_InvalidParameter;
    }
    Lock lock(mMutex);
    if (mLeaving) {
        return api5::kPlexaMessageErrorCode_NotConfigured;
    }
    if (!mWanted) {
        mWanted = true;
        WakeLink();
    }
    const api5::EndPoint& destination = inMessage.GetDestination();
    if (destination == api5::EndPoint::INVALID_ENDPOINT) {
        return SendToMembers(lock, std::nullopt, inMessage);
    }
    if (destination == mSelf) {
        return SendLocally(lock, inMessage);
    }
    std::optional<wire::MemberId> receiver;
    if (!ResolveReceiver(destination, receiver)) {
        FailForUnknown(inMessage);
        return api5::kPlexaMessageErrorCode_None;
    }
    return SendToMembers(lock, receiver, inMessage);
}

void Session::FailForUnknown(const api5::SuiteMessage& inMessage) noexcept {
    Fail({FailureKind::kNotDelivered, FailureReason::kUnknownReceiver, wire::LimitName::kNone,
          InfoOf(inMessage.GetDestination()), MessageAccess::Type(inMessage)});
}

bool Session::ResolveReceiver(const api5::EndPoint& inDestination,
                              std::optional<wire::MemberId>& outReceiver) {
    const std::uint64_t version = mCore.Peers().Version();
    if (mLastVersion != version || mLastDestination != inDestination) {
        const bool sensible = inDestination.GetInstance() <= std::numeric_limits<std::uint32_t>::max();
        mLastReceiver = sensible ? mCore.Peers().Find(InfoOf(inDestination)) : std::nullopt;
        mLastDestination = inDestination;
        mLastVersion = version;
    }
    outReceiver = mLastReceiver;
    return outReceiver.has_value();
}

PlexaMessageErrorCode Session::SendLocally(Lock& ioLock, const api5::SuiteMessage& inMessage) {
    const std::string& type = MessageAccess::Type(inMessage);
    const std::string_view payload = MessageAccess::Payload(inMessage);
    const std::size_t bytes = wire::FrameBytes(type.size(), payload.size());
    wire::LimitName limit = wire::LimitName::kNone;
    if (!AwaitLocalRoom(ioLock, bytes, limit)) {
        if (mLeaving) {
            return api5::kPlexaMessageErrorCode_NotConfigured;
        }
        Fail({FailureKind::kNotDelivered, FailureReason::kLimit, limit, InfoOf(inMessage.GetDestination()),
              type});
        return api5::kPlexaMessageErrorCode_None;
    }
    mLocal.push_back({type, std::string(payload)});
    mLocalBytes += bytes;
    WakeDelivery();
    return api5::kPlexaMessageErrorCode_None;
}

/// False when there is no room and none is to be expected, or when the session is being left.
bool Session::AwaitLocalRoom(Lock& ioLock, std::size_t inBytes, wire::LimitName& outLimit) {
    const bool mayWait = !OnDeliveryThread();
    const std::size_t limit = mLimits.log + (mayWait ? 0 : mLimits.logReserve);
    outLimit = mayWait ? wire::LimitName::kLog : wire::LimitName::kLogReserve;
    while (mLocalBytes != 0 && mLocalBytes + inBytes > limit) {
        if (!mayWait) {
            return false;
        }
        const TimePoint now = Clock::now();
        mLocalFullSince = mLocalFullSince.value_or(now);
        const TimePoint until = *mLocalFullSince + mLimits.stall;
        if (now >= until) {
            return false;
        }
        ++mWaitingSenders;
        mProgressed.wait_until(ioLock, until, [this] { return mLeaving || !mLocalFullSince; });
        --mWaitingSenders;
        if (mLeaving) {
            return false;
        }
    }
    return true;
}

PlexaMessageErrorCode Session::SendToMembers(Lock& ioLock, std::optional<wire::MemberId> inReceiver,
                                             const api5::SuiteMessage& inMessage) {
    const std::string& type = MessageAccess::Type(inMessage);
    const std::string_view payload = MessageAccess::Payload(inMessage);
    Admission admission;
    if (!AwaitRoom(ioLock, inReceiver, type, payload.size(), admission)) {
        return api5::kPlexaMessageErrorCode_NotConfigured;
    }
    if (admission.verdict == Admission::Verdict::kRefuse) {
        if (admission.reason == FailureReason::kUnknownReceiver) {
            FailForUnknown(inMessage);  // it went while this thread waited
        } else {
            mCore.Sender().Refuse(inReceiver, type, admission);
        }
        Settle();
        return api5::kPlexaMessageErrorCode_None;
    }
    mCore.Sender().Send(inReceiver, type, Bytes(payload));
    WriteSoon(ioLock, Clock::now());
    if (mCore.Sender().HasFailures()) {
        Settle();
    }
    return api5::kPlexaMessageErrorCode_None;
}

/// False when the session is being left.
bool Session::AwaitRoom(Lock& ioLock, std::optional<wire::MemberId> inReceiver, std::string_view inType,
                        std::size_t inPayloadLength, Admission& outAdmission) {
    const bool mayWait = !OnDeliveryThread();
    for (;;) {
        SenderCore& sender = mCore.Sender();
        outAdmission = sender.Admit(inReceiver, inType.size(), inPayloadLength, mayWait, Clock::now());
        if (outAdmission.verdict != Admission::Verdict::kWait) {
            return true;
        }
        // What is in the log has to go out for room to be made.
        mFlushRequested = true;
        WakeLink();
        const std::uint64_t progress = sender.Progress();
        ++mWaitingSenders;
        mProgressed.wait_until(ioLock, outAdmission.until,
                               [&] { return mLeaving || mCore.Sender().Progress() != progress; });
        --mWaitingSenders;
        if (mLeaving) {
            return false;
        }
    }
}

bool Session::IsQuiet(TimePoint inNow) {
    if (mWriting || mFlushRequested || !mCore.Output().Empty() || !CanWrite()) {
        return false;
    }
    if (inNow - mDirectWritesSince > kQuietTime) {
        mDirectWritesSince = inNow;
        mDirectWrites = 0;
    }
    return mDirectWrites++ < kQuietWrites;
}

void Session::WriteSoon(Lock& ioLock, TimePoint inNow) {
    if (OnDeliveryThread()) {
        if (inNow - mCallsSince >= kBatchAge) {
            Flush(ioLock, false);
        }
        return;
    }
    if (IsQuiet(inNow)) {
        Flush(ioLock, false);
        Settle();
    } else if (!mFlushRequested) {
        mFlushRequested = true;
        WakeLink();
    }
}

void Session::Fail(SendFailure inFailure) noexcept {
    const std::size_t bytes = inFailure.Bytes();
    if (mFailureBytes + bytes > kMostFailureBytes) {
        ++mFailuresDropped;
    } else {
        try {
            mFailures.push_back(std::move(inFailure));
            mFailureBytes += bytes;
        } catch (const std::bad_alloc&) {
            ++mFailuresDropped;
        }
    }
    WakeDelivery();
}

}  // namespace orvane::plexa::message5
