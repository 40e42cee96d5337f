#include "notifications/Notifications.h"

#include <algorithm>
#include <utility>

#include "bus/MessageTypes.h"
#include "common/JSONFields.h"
#include "notifications/Payloads.h"
#include "service/Answer.h"
#include "service/Notes.h"

namespace orvane::plexa::zarnd {

using nuocore::serialization::VariantObject;

namespace {

constexpr std::chrono::milliseconds kBetweenSaves{500};

Notifications::Time Now() { return std::chrono::steady_clock::now(); }

}  // namespace

Notifications::Notifications(std::filesystem::path inFile, IPort& ioPort)
    : mPort(ioPort),
      mFile(std::move(inFile)),
      mObservers(&StartOfSystemProcess),
      mSavedAt(Now() - kBetweenSaves) {
    const auto [ended, tooMany] = mObservers.Restore(mFile.Load());
    if (ended != 0) Note(std::to_string(ended) + " observers are forgotten: their processes have ended");
    if (tooMany != 0) Note(std::to_string(tooMany) + " observers are forgotten: there are too many");
}

bool Notifications::Takes(const std::string& inType) {
    return std::find(kNotificationTypes.begin(), kNotificationTypes.end(), inType) !=
           kNotificationTypes.end();
}

void Notifications::OnMessage(const Message& inMessage) {
    try {
        if (inMessage.mType == kObserverType) {
            OnRegistration(inMessage);
        } else if (inMessage.mType == kPushType) {
            OnPush(inMessage);
        } else {
            OnQuestion(inMessage);
        }
    } catch (const PayloadError& error) {
        NoteProvoked("a message of " + inMessage.mFrom.mAppId +
                     " about notifications is refused: " + error.what());
    }
}

void Notifications::OnRegistration(const Message& inMessage) {
    const Registration registration = ReadRegistration(inMessage.mPayload);
    const Observers::Outcome outcome =
        registration.mIsRegistered
            ? mObservers.Register(inMessage.mFrom, registration.mObserver)
            : mObservers.Unregister(inMessage.mFrom, registration.mObserver.mNamespace);
    switch (outcome) {
        case Observers::Outcome::kDone:
            NoteChange();
            break;
        case Observers::Outcome::kNothingToDo:
            break;
        case Observers::Outcome::kTooManyOfProcess:
            NoteProvoked("an observer of " + inMessage.mFrom.mAppId + " is refused: it has " +
                         std::to_string(Observers::kMaxOfProcess) + " already");
            break;
        case Observers::Outcome::kTooManyInAll:
            NoteProvoked("an observer of " + inMessage.mFrom.mAppId + " is refused: there are " +
                         std::to_string(Observers::kMaxInAll) + " already");
            break;
    }
}

void Notifications::OnPush(const Message& inMessage) {
    const PayloadTexts texts = ReadPayload(inMessage.mPayload);
    const auto id = RequestIdOf(texts);
    try {
        const Signal signal = ReadSignal(texts);
        const std::string payload = WriteSignal(signal);
        const auto concerned = mObservers.For(signal.mType, signal.mSubType);
        for (const auto& [place, name] : concerned) {
            mPort.Send(place, std::string(kObserverTypePrefix) + name, payload);
        }
        Answer(inMessage, id, concerned.size());
    } catch (const PayloadError& error) {
        if (!id) throw;
        mPort.Send(inMessage.mFrom, inMessage.mType + kAnswerSuffix,
                   WriteRefusal(*id, ErrorCode::kBadNotification, error.what()));
    }
}

void Notifications::OnQuestion(const Message& inMessage) {
    const PayloadTexts texts = ReadPayload(inMessage.mPayload);
    Answer(inMessage, RequestIdOf(texts),
           mObservers.Count(inMessage.mFrom, TextAt(texts, "type"), TextAt(texts, "sub-type")));
}

void Notifications::Answer(const Message& inQuestion, const std::optional<RequestId>& inId,
                           std::size_t inObservers) {
    if (!inId) return;
    VariantObject content;
    content["observers"] = SizeValue(inObservers);
    mPort.Send(inQuestion.mFrom, inQuestion.mType + kAnswerSuffix, WriteAnswer(*inId, std::move(content)));
}

void Notifications::OnEndPoints(const std::vector<Asker>& inEndPoints) {
    if (mObservers.OnEndPoints(inEndPoints)) NoteChange();
}

void Notifications::NoteChange() {
    if (!mSaveAt) mSaveAt = std::max(Now(), mSavedAt + kBetweenSaves);
}

void Notifications::OnTime(Time inNow) {
    if (mSaveAt && inNow >= *mSaveAt) Save();
}

void Notifications::Save() {
    if (!mSaveAt) return;
    mSaveAt.reset();
    try {
        mFile.Save(mObservers.All());
    } catch (const Failure& failure) {  // the next change tries again
        NoteProvoked(std::string("observers are not kept: ") + failure.what());
    }
    mSavedAt = Now();
}

}  // namespace orvane::plexa::zarnd
