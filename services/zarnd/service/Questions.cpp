#include <functional>
#include <string>
#include <utility>

#include "bus/MessageTypes.h"
#include "bus/QuestionLimits.h"
#include "service/Answer.h"
#include "service/Notes.h"
#include "service/Service.h"

namespace orvane::plexa::zarnd {

using nuocore::serialization::VariantObject;

namespace {

Message AnswerTo(const Message& inQuestion, std::string inPayload) {
    return {inQuestion.mFrom, inQuestion.mType + kAnswerSuffix, std::move(inPayload)};
}

}  // namespace

void Service::OnQuestion(const Message& inMessage, const PayloadTexts& inTexts) {
    const auto id = RequestIdOf(inTexts);
    if (!id) {
        NoteProvoked("a question of " + inMessage.mFrom.mAppId + " has no request id");
        return;
    }
    const ModuleKey key = ModuleOf(inTexts);
    if (inMessage.mType == kCancelType) {
        Answer(inMessage, Cancel(inMessage.mFrom, key, *id));
    } else if (inMessage.mType == kRemoveType) {
        Remove(inMessage, key, *id);
    } else if (inMessage.mType == kListType) {
        AnswerLater(mTasks, inMessage, *id, std::nullopt, [this, key](const std::stop_token&) {
            return ListContent(mInventory.List(key.mProduct));
        });
    } else if (inMessage.mType == kCheckType) {
        AnswerLater(mChecks, inMessage, *id, std::nullopt, [this, key](const std::stop_token& inStop) {
            return CheckContent(mInventory.Check(key.mProduct, key.mModule, inStop));
        });
    }
}

std::string Service::Cancel(const Asker& inAsker, const ModuleKey& inKey, const RequestId& inId) {
    if (mDeployment.OnCancel(inAsker, inKey)) return WriteAnswer(inId, {});
    return WriteRefusal(inId, ErrorCode::kNothingToCancel,
                        "no such module is being installed for this process");
}

void Service::Remove(const Message& inMessage, const ModuleKey& inKey, const RequestId& inId) {
    if (mDeployment.IsWorkedOn(inKey) || mHeld.contains(inKey)) {
        Answer(inMessage, WriteRefusal(inId, ErrorCode::kBusy, "the module is being worked on"));
        return;
    }
    AnswerLater(mTasks, inMessage, inId, inKey, [this, inKey](const std::stop_token&) {
        mInventory.Remove(inKey.mProduct, inKey.mModule);
        NoteProvoked("module " + inKey.mModule + " of " + inKey.mProduct + ": removed");
        return VariantObject();
    });
}

void Service::AnswerLater(TaskRunner& ioRunner, const Message& inQuestion, const RequestId& inId,
                          const std::optional<ModuleKey>& inHeld, QuestionWork inWork) {
    const bool isTaken = ioRunner.Add(
        [this, inQuestion, inId, inHeld, work = std::move(inWork)](const std::stop_token& inStop) {
            std::string payload;
            try {
                if (inStop.stop_requested()) throw Cancelled();
                payload = WriteAnswer(inId, work(inStop));
            } catch (const Cancelled&) {
                payload = WriteRefusal(inId, ErrorCode::kServiceEnding, kEndingSentence);
            } catch (const Failure& failure) {
                payload = WriteRefusal(inId, failure.Code(), failure.what());
            } catch (const std::exception& error) {
                payload = WriteRefusal(inId, ErrorCode::kInternal, error.what());
            }
            const auto late = mInputs.Put(AnswerReady{AnswerTo(inQuestion, std::move(payload)), inHeld});
            if (late) SendAnswer(std::get<AnswerReady>(*late));
        });
    if (!isTaken) {
        Answer(inQuestion, WriteRefusal(inId, ErrorCode::kTooManyRequests, "too much is being asked"));
        return;
    }
    ++mAnswersDue;
    if (inHeld) mHeld.insert(*inHeld);
}

void Service::RefuseLength(const Message& inMessage) {
    if (inMessage.mType == kObserverType) return;  // which has no answer
    const Error error{ErrorCode::kBadRequest,
                      "the question is longer than " + std::to_string(kMaxQuestionBytes) + " bytes"};
    const PayloadTexts texts = ReadPayload(inMessage.mPayload);
    if (inMessage.mType == kInstallType) {
        mDeployment.Refuse({inMessage.mFrom, ModuleOf(texts), TextAt(texts, "product-vardo-version")}, error);
    } else if (const auto id = RequestIdOf(texts)) {
        Answer(inMessage, WriteRefusal(*id, error.mCode, error.mMetadata));
    }
}

void Service::Answer(const Message& inQuestion, const std::string& inPayload) {
    const Message answer = AnswerTo(inQuestion, inPayload);
    mPort.Send(answer.mFrom, answer.mType, answer.mPayload);
}

}  // namespace orvane::plexa::zarnd
