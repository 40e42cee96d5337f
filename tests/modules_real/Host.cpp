// A host as the tests need it:
//
//   host install ID...         asks for the modules, one after the other, with a Startup of its own
//   host last ID               asks for one without; waits for SIGTERM, asks once more, and ends
//   host observe TYPE SUBTYPE  waits for one notification

#include <chrono>
#include <csignal>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <nuocore/Config.h>
#include <nuocore/Log.h>
#include <nuoplexasupport/nuoplexasupport.h>
#include <boost/smart_ptr/make_shared.hpp>

using namespace nuoplexasupport;
using nuocore::async::Future;

namespace {

std::thread::id sDeliveryThread;  // once there has been progress

Future<void> Request(const std::string& inModuleId) {
    return RequestModuleDownload(
        ImmutableString(inModuleId),
        [](const ImmutableString& inId, float inShare) {
            sDeliveryThread = std::this_thread::get_id();
            std::cout << inId.View() << " " << inShare << std::endl;
        },
        true);
}

void Tell(const std::string& inModuleId, const Future<void>& inDone) {
    try {
        inDone.Get();
        std::cout << inModuleId << " is installed" << std::endl;
    } catch (const ModuleDownloadFailedException& exception) {
        std::cout << inModuleId << ": " << exception.what() << std::endl;
    }
}

int Install(const std::vector<std::string>& inModuleIds) {
    Startup();
    for (const std::string& id : inModuleIds) {
        Tell(id, Request(id));
    }
    Shutdown();
    return 0;
}

// The last completion destroys the library's client on the delivery thread; its Shutdown is the last one. The
// report of the response that nobody will ever answer is written by that Shutdown.
int Last(const std::string& inModuleId) {
    nuocore::log::SetLogSink([](const nuocore::log::LogRecord& inRecord) {
        std::cout << "log: " << inRecord.mMessage
                  << (std::this_thread::get_id() == sDeliveryThread ? ", on the delivery thread" : "")
                  << std::endl;
    });
    {
        const Future<void> future = Request(inModuleId);
        future.Wait();
        Tell(inModuleId, future);
    }
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    int signal = 0;
    sigwait(&signals, &signal);
    const Future<void> again = Request(inModuleId);
    std::cout << (again.WaitFor(std::chrono::milliseconds(500)) ? "served again" : "not heard any more")
              << std::endl;
    return 0;
}

class Observer final : public IPlexaClient {
  public:
    void ReceiveTaviNotification(const ImmutableString& inType, const ImmutableString& inSubType,
                                 const VariantObject& inPayload) override {
        std::cout << "notified: " << inType.View() << "/" << inSubType.View() << " "
                  << nuocore::serialization::ExtractTextFromObject(inPayload, "text") << std::endl;
        mNotified.set_value();
    }
    std::promise<void> mNotified;
};

int Observe(const ImmutableString& inType, const ImmutableString& inSubType) {
    Startup();
    {
        const auto observer = boost::make_shared<Observer>();
        RegisterTaviNotificationObserver(observer, inType, inSubType);
        observer->mNotified.get_future().wait();
        UnregisterTaviNotificationObserver(observer, inType, inSubType);
    }
    Shutdown();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    const std::vector<std::string> arguments(argv + 1, argv + argc);
    nuocore::config::SetProductConfig({"HOST", "1.0", {}});
    if (arguments.at(0) == "install") return Install({arguments.begin() + 1, arguments.end()});
    if (arguments.at(0) == "last") return Last(arguments.at(1));
    return Observe(ImmutableString(arguments.at(1)), ImmutableString(arguments.at(2)));
}
