#include "program/Program.h"

#include <pthread.h>

#include <atomic>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "bus/BusHost.h"
#include "bus/MessageTypes.h"
#include "bus/Outbox.h"
#include "fetch/Authorities.h"
#include "processes/RunningPrograms.h"
#include "program/Process.h"
#include "service/Notes.h"
#include "service/Service.h"

namespace orvane::plexa::zarnd {

namespace {

/// Hands the signals that ask to end to the service.
class EndWatch {
  public:
    explicit EndWatch(Inputs& ioInputs)
        : mThread([&ioInputs] {
              AwaitEndSignal();
              ioInputs.Put(EndAsked{});
          }),
          mInputs(ioInputs) {}
    EndWatch(const EndWatch&) = delete;
    EndWatch& operator=(const EndWatch&) = delete;
    ~EndWatch() {
        mInputs.Close();  // nobody takes any more
        ::pthread_kill(mThread.native_handle(), SIGUSR1);
        mThread.join();
    }

  private:
    std::thread mThread;
    Inputs& mInputs;
};

/// The time on the bus. Ends before the service, whose threads may take a while.
class Stay {
  public:
    Stay(BusHost& ioHost, Outbox& ioOutbox, Service& ioService, Inputs& ioInputs)
        : mHost(ioHost), mOutbox(ioOutbox), mInputs(ioInputs) {
        std::vector<const char*> types(kQuestionTypes.begin(), kQuestionTypes.end());
        types.insert(types.end(), kNotificationTypes.begin(), kNotificationTypes.end());
        mHost.Join(
            ZARND_VERSION, types, [&ioService](Message inMessage) { ioService.Take(std::move(inMessage)); },
            [&ioInputs](std::vector<Asker> inEndPoints) { PutEndPoints(ioInputs, std::move(inEndPoints)); },
            [this](const Asker& inRival) {
                Note("another service, " + inRival.mAppId + " with process id " +
                     std::to_string(inRival.mProcessId) + ", serves this bus already");
                mHasRival = true;
                mInputs.Put(EndAsked{});
            });
    }
    Stay(const Stay&) = delete;
    Stay& operator=(const Stay&) = delete;
    ~Stay() {
        // The delivery thread, for which leaving waits, may wait itself until something is taken.
        mInputs.Close();
        mOutbox.Finish();
        mHost.Leave();
    }

    /// Whether this service is to leave the bus to another one.
    [[nodiscard]] bool HasRival() const { return mHasRival; }

  private:
    BusHost& mHost;
    Outbox& mOutbox;
    Inputs& mInputs;
    std::atomic<bool> mHasRival{false};
};

int Serve(const Options& inOptions) {
    Inputs inputs;
    ServiceSettings settings;
    settings.mCatalogues = inOptions.mCatalogues;
    settings.mModules = inOptions.mData / "modules";
    settings.mObservers = inOptions.mData / "observers.json";
    settings.mFetch.mAuthorities = inOptions.mAuthorities.string();
    settings.mIdleExit = inOptions.mIdleExit;
    settings.mConflicts = &RunningPrograms;
    BusHost host;
    Outbox outbox(host);
    Service service(std::move(settings), outbox, inputs);
    const EndWatch watch(inputs);
    const Stay stay(host, outbox, service, inputs);
    service.Run();
    return stay.HasRival() ? kExitOtherServes : kExitSuccess;
}

}  // namespace

int RunProgram(const Options& inOptions) try {
    SettleSignals();
    if (inOptions.mIsOnDemand) Detach(inOptions.mData / "zarnd.log");
    if (!inOptions.mAuthorities.empty()) CheckAuthorities(inOptions.mAuthorities);
    const auto lock = LockFolder(inOptions.mData);
    if (!lock) {
        Note("another service has " + inOptions.mData.string() + " already");
        return kExitSuccess;
    }
    const int code = Serve(inOptions);
    Note("ended");
    return code;
} catch (const std::exception& error) {
    Note(std::string("cannot serve: ") + error.what());
    return kExitFailure;
}

}  // namespace orvane::plexa::zarnd
