#include "program/Program.h"

#include <pthread.h>

#include <exception>
#include <thread>
#include <vector>

#include "bus/BusHost.h"
#include "bus/MessageTypes.h"
#include "bus/Outbox.h"
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
            [&ioInputs](std::vector<Asker> inEndPoints) {
                ioInputs.Put(EndPointsChanged{std::move(inEndPoints)});
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

  private:
    BusHost& mHost;
    Outbox& mOutbox;
    Inputs& mInputs;
};

void Serve(const Options& inOptions) {
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
}

}  // namespace

int RunProgram(const Options& inOptions) try {
    SettleSignals();
    if (inOptions.mIsOnDemand) Detach(inOptions.mData / "zarnd.log");
    const auto lock = LockFolder(inOptions.mData);
    if (!lock) {
        Note("another service has " + inOptions.mData.string() + " already");
        return kExitSuccess;
    }
    Serve(inOptions);
    Note("ended");
    return kExitSuccess;
} catch (const std::exception& error) {
    Note(std::string("cannot serve: ") + error.what());
    return kExitFailure;
}

}  // namespace orvane::plexa::zarnd
