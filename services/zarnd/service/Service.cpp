#include "service/Service.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>

#include "bus/MessageTypes.h"
#include "deployment/Planner.h"
#include "processes/ProcessStart.h"
#include "service/Notes.h"

namespace orvane::plexa::zarnd {

Service::Service(ServiceSettings inSettings, IPort& ioPort, Inputs& ioInputs)
    : mSettings(std::move(inSettings)),
      mPort(ioPort),
      mInputs(ioInputs),
      mCatalogues(mSettings.mCatalogues),
      mStore(mSettings.mModules),
      mInstalled(mStore),
      mInventory(mCatalogues, mStore, mSettings.mConflicts),
      mDeployment(*this),
      mNotifications(mSettings.mObservers, mPort),
      mWorkers(mStore, mSettings.mFetch, mSettings.mConflicts, mInputs) {
    mStore.Sweep();
}

Service::~Service() { mInputs.Close(); }  // lets workers go that wait to be heard

void Service::Run() {
    try {
        Serve();
    } catch (...) {  // whoever is owed something is told all the same
        End();
        throw;
    }
    End();
}

void Service::Serve() {
    for (bool goesOn = true; goesOn && !HasBeenIdle();) {
        if (const auto input = mInputs.Take(NextTime())) {
            if (IsOccasionToStay(*input)) mLastInput = Clock::now();
            goesOn = std::visit([this](const auto& inInput) { return Handle(inInput); }, *input);
        }
        RefuseUnstarted();
        mDeployment.OnTime(Clock::now());
        mNotifications.OnTime(Clock::now());
    }
}

void Service::End() {
    const std::lock_guard lock(mEnding);
    mIsEnding = true;
    mInputs.Close();
    // What has come and was not looked at, while it is known yet who waits for what.
    while (const auto input = mInputs.Take()) {
        if (const auto* const message = std::get_if<Message>(&*input)) RefuseForEnd(*message);
        if (const auto* const answer = std::get_if<AnswerReady>(&*input)) SendAnswer(*answer);
        if (const auto* const done = std::get_if<WorkDone>(&*input)) {
            mDeployment.OnDone(done->mKey, done->mOutcome, Clock::now());
        }
    }
    mDeployment.End({ErrorCode::kServiceEnding, kEndingSentence});
    mTasks.End();
    mChecks.End();
    mNotifications.Save();
}

void Service::Take(Message inMessage) {
    const auto late = mInputs.Put(std::move(inMessage));
    if (!late) return;
    const std::lock_guard lock(mEnding);
    RefuseForEnd(std::get<Message>(*late));
    mNotifications.Save();
}

void Service::RefuseForEnd(const Message& inMessage) {
    if (inMessage.mIsTooLong) return RefuseLength(inMessage);
    const Error ending{ErrorCode::kServiceEnding, kEndingSentence};
    if (Notifications::Takes(inMessage.mType)) {  // takes no time, and observers are for the next run too
        mNotifications.OnMessage(inMessage);
        return;
    }
    try {
        const PayloadTexts texts = ReadPayload(inMessage.mPayload);
        if (inMessage.mType == kInstallType) {
            const ModuleKey key = ModuleOf(texts);
            // Nobody could tell whom an event without a module is for.
            if (!key.mModule.empty())
                mDeployment.Refuse({inMessage.mFrom, key, TextAt(texts, "product-vardo-version")}, ending);
        } else if (const auto id = RequestIdOf(texts)) {
            Answer(inMessage, WriteRefusal(*id, ending.mCode, ending.mMetadata));
        }
    } catch (const PayloadError&) {  // it would not have been answered either
    }
}

std::optional<Service::Clock::time_point> Service::NextTime() const {
    std::optional<Clock::time_point> next = mDeployment.NextTime();
    if (const auto save = mNotifications.NextTime(); save && (!next || *save < *next)) next = save;
    if (mSettings.mIdleExit.count() > 0 && !IsBusy()) {
        const Clock::time_point end = mLastInput + mSettings.mIdleExit;
        if (!next || end < *next) next = end;
    }
    return next;
}

bool Service::IsOccasionToStay(const Input& inInput) const {
    // Who comes and goes is no matter of this service, unless they are the last that observe something.
    if (std::holds_alternative<EndPointsChanged>(inInput)) return mNotifications.IsNeeded();
    return !std::holds_alternative<ShareReport>(inInput);
}

bool Service::HasBeenIdle() const {
    return mSettings.mIdleExit.count() > 0 && !IsBusy() && Clock::now() >= mLastInput + mSettings.mIdleExit;
}

bool Service::IsBusy() const {
    return !mDeployment.IsIdle() || mAnswersDue != 0 || mNotifications.IsNeeded();
}

void Service::StartWork(const ModuleKey& inKey, const ModuleSpec& inModule) {
    if (mIsEnding) return;
    try {
        mWorkers.Start(inKey, inModule);
    } catch (const std::system_error& error) {
        // Its end may not be told from inside this call.
        mUnstarted.push_back(
            {inKey, Error{ErrorCode::kInternal, std::string("the work can't be begun: ") + error.what()}});
    }
}

void Service::RefuseUnstarted() {
    while (!mUnstarted.empty()) {
        for (const WorkDone& done : std::exchange(mUnstarted, {})) Handle(done);
    }
}

void Service::StopWork(const ModuleKey& inKey) { mWorkers.Stop(inKey); }

void Service::Tell(const Asker& inAsker, const DeploymentEvent& inEvent) {
    mPort.Send(inAsker, kEventType, WriteEvent(inEvent));
}

bool Service::Handle(const ShareReport& inReport) {
    mDeployment.OnShare(inReport.mKey, inReport.mShare, Clock::now());
    return true;
}

bool Service::Handle(const WorkDone& inDone) {
    mWorkers.Release(inDone.mKey);
    mDeployment.OnDone(inDone.mKey, inDone.mOutcome, Clock::now());
    return true;
}

bool Service::Handle(const AnswerReady& inReady) {
    --mAnswersDue;
    if (inReady.mReleased) mHeld.erase(*inReady.mReleased);
    SendAnswer(inReady);
    return true;
}

void Service::SendAnswer(const AnswerReady& inReady) {
    mPort.Send(inReady.mAnswer.mFrom, inReady.mAnswer.mType, inReady.mAnswer.mPayload);
}

bool Service::Handle(const EndPointsChanged& inChanged) {
    mNotifications.OnEndPoints(inChanged.mEndPoints);
    mDeployment.OnEndPoints(inChanged.mEndPoints, &StartOfSystemProcess);
    return true;
}

bool Service::Handle(const EndAsked& /*inAsked*/) { return false; }

bool Service::Handle(const Message& inMessage) {
    if (inMessage.mIsTooLong) {
        RefuseLength(inMessage);
        return true;
    }
    if (Notifications::Takes(inMessage.mType)) {
        mNotifications.OnMessage(inMessage);
        return true;
    }
    try {
        const PayloadTexts texts = ReadPayload(inMessage.mPayload);
        if (inMessage.mType == kInstallType) {
            OnInstall(inMessage, texts);
        } else {
            OnQuestion(inMessage, texts);
        }
    } catch (const PayloadError& error) {
        NoteProvoked("a message of " + inMessage.mFrom.mAppId + " is no question: " + error.what());
    }
    return true;
}

void Service::OnInstall(const Message& inMessage, const PayloadTexts& inTexts) {
    const InstallRequest request{inMessage.mFrom, ModuleOf(inTexts), TextAt(inTexts, "product-vardo-version"),
                                 StartOfSystemProcess(inMessage.mFrom.mProcessId)};
    if (request.mKey.mModule.empty()) {
        // Events name the module, so nobody could tell whom one without a name is for.
        NoteProvoked("a request of " + inMessage.mFrom.mAppId + " names no module");
        return;
    }
    if (mDeployment.IsAwaited(request.mAsker, request.mKey)) return;
    try {
        const Plan plan = MakePlan(request.mKey, request.mVersion, mCatalogues, mInstalled);
        const bool isHeld = std::any_of(plan.begin(), plan.end(), [&](const PlannedModule& inPlanned) {
            return mHeld.contains({request.mKey.mProduct, inPlanned.mSpec.mId});
        });
        if (isHeld) throw Failure(ErrorCode::kBusy, "the module is being removed");
        mDeployment.OnRequest(request, plan, Clock::now());
    } catch (const Failure& failure) {
        mDeployment.Refuse(request, {failure.Code(), failure.what()});
    }
}

}  // namespace orvane::plexa::zarnd
