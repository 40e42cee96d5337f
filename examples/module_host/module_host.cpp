// A small host that has an add-on module of its product installed, and then waits for one push notification.
// The desktop service zarnd does both.
//
//   module_host KQ7L mail new

#include <chrono>
#include <condition_variable>
#include <iostream>
#include <mutex>

#include <nuocore/Config.h>
#include <nuoplexasupport/nuoplexasupport.h>
#include <boost/smart_ptr/make_shared.hpp>

using namespace nuoplexasupport;
using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::ExtractTextFromObject;
using nuocore::serialization::ObjectHasProperty;

namespace {

// Called on the delivery thread; the main thread waits for what it tells.
class Observer final : public IPlexaClient {
  public:
    void ReceiveTaviNotification(const ImmutableString& inType, const ImmutableString& inSubType,
                                 const VariantObject& inPayload) override {
        std::cout << "notification: " << inType.View() << " " << inSubType.View();
        if (ObjectHasProperty(inPayload, "values", true)) {
            for (const auto& [key, value] : ExtractPropertyFromObject<VariantObject>(inPayload, "values")) {
                if (const auto* const text = boost::any_cast<UTF8String>(value.get())) {
                    std::cout << " " << key << "=" << *text;
                }
            }
        }
        std::cout << std::endl;
        const std::lock_guard lock(mMutex);
        mHasCome = true;
        mChanged.notify_all();
    }

    bool Wait(std::chrono::seconds inLimit) {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, inLimit, [this] { return mHasCome; });
    }

  private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mHasCome = false;
};

// Never on the delivery thread, which brings the end.
bool Install(const ImmutableString& inModule) {
    const auto future = RequestModuleDownload(
        inModule,
        [](const ImmutableString& inId, float inShare) {
            std::cout << inId.View() << ": " << static_cast<int>(inShare * 100.F + 0.5F) << " %" << std::endl;
        },
        true);
    if (!future.WaitFor(std::chrono::seconds(60))) {
        std::cerr << "no answer in time: does zarnd run?" << std::endl;
        return false;  // dropping the future gives the download up
    }
    try {
        future.Get();
        std::cout << inModule.View() << ": installed" << std::endl;
        return true;
    } catch (const ModuleDownloadFailedException& exception) {
        std::cerr << inModule.View() << ": "
                  << (exception.GetCode() == kModuleOperationsBlockedByConflictingProcess
                          ? "a program runs that must not"
                          : exception.what())
                  << std::endl;
        return false;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: module_host MODULE TYPE SUBTYPE" << std::endl;
        return 2;
    }
    const ImmutableString type(argv[2]);
    const ImmutableString subType(argv[3]);

    nuocore::config::SetProductConfig({"QRTX", "20.0", {}});  // whose modules they are
    Startup();                                                // held for the life of the process

    bool isDone = false;
    {
        const auto observer = boost::make_shared<Observer>();
        RegisterTaviNotificationObserver(observer, type, subType);
        isDone = Install(ImmutableString(argv[1]));
        if (isDone) {
            std::cout << "waiting for a notification" << std::endl;
            isDone = observer->Wait(std::chrono::seconds(60));
            if (!isDone) std::cerr << "no notification in time" << std::endl;
        }
        UnregisterTaviNotificationObserver(observer, type, subType);
    }
    Shutdown();
    return isDone ? 0 : 1;
}
