/// The service: takes what happens, and has done what follows.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "bus/IPort.h"
#include "bus/Payload.h"
#include "catalogue/CatalogueFolders.h"
#include "deployment/Deployment.h"
#include "deployment/InstalledDigests.h"
#include "notifications/Notifications.h"
#include "service/Inputs.h"
#include "service/Inventory.h"
#include "service/TaskRunner.h"
#include "service/Workers.h"

namespace orvane::plexa::zarnd {

struct ServiceSettings {
    std::vector<std::filesystem::path> mCatalogues;
    std::filesystem::path mModules;
    std::filesystem::path mObservers;  ///< file that keeps them for the next run
    FetchSettings mFetch = {};
    std::chrono::seconds mIdleExit{0};  ///< how long to stay with nothing to do; 0: for ever
    ConflictFinder mConflicts;
};

/// One object; everything but `Take` and `Inputs::Put` on the thread that calls `Run`.
class Service final : private IDeploymentActions {
  public:
    Service(ServiceSettings inSettings, IPort& ioPort, Inputs& ioInputs);
    ~Service() override;

    /// Serves until it is asked to end, or has had nothing to do for long enough. Who is still owed a module
    /// is told that it won't come, and so is everybody whose message `Take` is handed from then on.
    void Run();

    /// A message has come. Any thread, also before and after `Run`.
    void Take(Message inMessage);

  private:
    using Clock = std::chrono::steady_clock;
    using QuestionWork = std::function<nuocore::serialization::VariantObject(const std::stop_token&)>;
    static constexpr const char* kEndingSentence = "the service that installs modules is ending";

    void StartWork(const ModuleKey& inKey, const ModuleSpec& inModule) override;
    void StopWork(const ModuleKey& inKey) override;
    void Tell(const Asker& inAsker, const DeploymentEvent& inEvent) override;

    // Each returns whether the service goes on.
    bool Handle(const Message& inMessage);
    bool Handle(const ShareReport& inReport);
    bool Handle(const WorkDone& inDone);
    bool Handle(const AnswerReady& inReady);
    bool Handle(const EndPointsChanged& inChanged);
    bool Handle(const EndAsked& inAsked);

    void Serve();
    void End();
    void RefuseForEnd(const Message& inMessage);
    void RefuseLength(const Message& inMessage);
    void RefuseUnstarted();
    void OnInstall(const Message& inMessage, const PayloadTexts& inTexts);
    void OnQuestion(const Message& inMessage, const PayloadTexts& inTexts);
    [[nodiscard]] std::string Cancel(const Asker& inAsker, const ModuleKey& inKey, const RequestId& inId);
    void Remove(const Message& inMessage, const ModuleKey& inKey, const RequestId& inId);
    void AnswerLater(TaskRunner& ioRunner, const Message& inQuestion, const RequestId& inId,
                     const std::optional<ModuleKey>& inHeld, QuestionWork inWork);
    void SendAnswer(const AnswerReady& inReady);
    void Answer(const Message& inQuestion, const std::string& inPayload);
    [[nodiscard]] std::optional<Clock::time_point> NextTime() const;
    [[nodiscard]] bool IsOccasionToStay(const Input& inInput) const;
    [[nodiscard]] bool HasBeenIdle() const;
    /// Whether something is done, or to be told, for somebody.
    [[nodiscard]] bool IsBusy() const;

    ServiceSettings mSettings;
    IPort& mPort;
    Inputs& mInputs;
    CatalogueFolders mCatalogues;
    ModuleStore mStore;
    InstalledDigests mInstalled;
    Inventory mInventory;
    Deployment mDeployment;
    Notifications mNotifications;
    std::set<ModuleKey> mHeld;         // being removed
    std::vector<WorkDone> mUnstarted;  // work that couldn't be begun
    std::mutex mEnding;                // held by who refuses because of the end
    bool mIsEnding = false;            // nothing is begun any more
    std::size_t mAnswersDue = 0;
    Clock::time_point mLastInput = Clock::now();
    Workers mWorkers;
    TaskRunner mTasks;
    TaskRunner mChecks;  // which take long, and keep nothing else waiting
};

}  // namespace orvane::plexa::zarnd
