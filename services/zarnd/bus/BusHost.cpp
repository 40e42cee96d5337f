#include "bus/BusHost.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "PlexaMessage5/Interest.h"
#include "PlexaMessage5/Texts.h"
#include "bus/MessageTypes.h"
#include "bus/OtherService.h"
#include "bus/Payload.h"
#include "bus/QuestionLimits.h"
#include "nuocore/Config.h"
#include "nuoplexasupport/Messaging.h"
#include "service/Notes.h"

namespace orvane::plexa::zarnd {

namespace {

Asker AskerOf(const api5::EndPoint& inEndPoint) {
    return {api5::AppIdOf(inEndPoint), inEndPoint.GetInstance(), inEndPoint.GetProcessId()};
}

}  // namespace

void BusHost::Join(const std::string& inVersion, std::span<const char* const> inTypes, Taker inTaker,
                   EndPointsTaker inEndPointsTaker, RivalTaker inRivalTaker) {
    mTypes.insert(inTypes.begin(), inTypes.end());
    mTaker = std::move(inTaker);
    mEndPointsTaker = std::move(inEndPointsTaker);
    mRivalTaker = std::move(inRivalTaker);
    nuocore::config::SetProductConfig({"zarnd", nuocore::UTF8String(inVersion), {}});
    api5::SetInterest(inTypes.data(), inTypes.size());
    nuoplexasupport::Startup();
    const api5::PlexaMessageErrorCode code = api5::IPlexaMessageDispatcher::GetInstance(&mDispatcher);
    if (mDispatcher == nullptr) {
        nuoplexasupport::Shutdown();
        throw std::runtime_error("cannot join the message bus: the message library answers with code " +
                                 std::to_string(code) + "; is the broker's program installed?");
    }
    mHasJoined = true;
    mDispatcher->AddListener(this);
    mDispatcher->EnableListener(this);
    mDispatcher->RegisterEndPointRefreshCallback(&OnRefresh, this);
}

void BusHost::Leave() {
    if (std::exchange(mHasJoined, false)) {
        mDispatcher->UnregisterEndPointRefreshCallback(&OnRefresh, this);
        // This listener goes with the last reference, which ends all deliveries. Taken back before, it would
        // miss messages that then count as received.
        api5::IPlexaMessageDispatcher::ReleaseInstance();
        nuoplexasupport::Shutdown();
    }
}

void BusHost::OnRefresh(void* inThis) {
    auto& self = *static_cast<BusHost*>(inThis);
    if (!self.mDispatcher->IsDispatcherReady()) return;
    std::vector<Asker> endPoints = self.EndPoints();
    const Asker own = AskerOf(self.mDispatcher->GetSelfEndPoint());
    // Each time: of two that begin together the older one may be the last to come.
    if (const auto rival = OlderService(endPoints, own, &StartOfSystemProcess)) {
        if (!std::exchange(self.mHasRival, true)) self.mRivalTaker(*rival);
        return;
    }
    if (!std::exchange(self.mServes, true)) Note("serving as " + own.mAppId);
    self.mEndPointsTaker(std::move(endPoints));
}

std::vector<Asker> BusHost::EndPoints() const {
    api5::EndPoint* array = nullptr;
    std::size_t count = 0;
    mDispatcher->GetEndPointList(&array, &count);
    std::vector<Asker> endPoints;
    std::transform(array, array + count, std::back_inserter(endPoints), AskerOf);
    if (array != nullptr) mDispatcher->ReleaseEndPointList(array);
    return endPoints;
}

void BusHost::Receive(const api5::PlexaMessage& inMessage) {
    const auto* const message = dynamic_cast<const api5::SuiteMessage*>(&inMessage);
    if (message == nullptr) return;  // that somebody has gone, who then isn't told anything any more
    std::string type = api5::TypeOf(*message);
    if (!mTypes.contains(type)) return;
    std::string payload(message->GetPayloadSize() + 1, '\0');
    message->GetPayload(payload.data());
    payload.resize(payload.find('\0'));
    Message question{AskerOf(message->GetSource()), std::move(type), std::move(payload)};
    if (question.mPayload.size() > kMaxQuestionBytes) {
        NoteProvoked("a message of " + question.mFrom.mAppId + " is too long to be a question");
        const auto rest =
            question.mType == kInstallType ? OnlyModule(question.mPayload) : OnlyRequestId(question.mPayload);
        if (!rest) return;
        question.mPayload = *rest;
        question.mIsTooLong = true;
    }
    mTaker(std::move(question));
}

void BusHost::Send(const Asker& inTo, const std::string& inType, const std::string& inPayload) {
    api5::SuiteMessage message(inType.c_str());
    message.SetPayload(inPayload.c_str());
    message.SetSource(mDispatcher->GetSelfEndPoint());
    message.SetDestination({inTo.mAppId.c_str(), inTo.mInstance, inTo.mProcessId});
    const api5::PlexaMessageErrorCode code = mDispatcher->SendMessage(message);
    if (code != api5::kPlexaMessageErrorCode_None && code != api5::kPlexaMessageErrorCode_AlreadyDone) {
        NoteProvoked("a message to " + inTo.mAppId + " is refused: the message library answers with code " +
                     std::to_string(code));
    }
}

}  // namespace orvane::plexa::zarnd
