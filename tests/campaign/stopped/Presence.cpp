#include "Presence.h"

#include <charconv>
#include <csignal>
#include <stdexcept>
#include <thread>

#include <sys/prctl.h>

#include "support/Texts.h"

namespace campaign::stopped {

namespace api = orvane::plexa::api5;

Presence::Presence(const std::string& inName, FunctionListener::Function inFunction)
    : mListener(std::move(inFunction)) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::prctl(PR_SET_TIMERSLACK, 1);
    if (api::IPlexaMessageDispatcher::SetConfig(inName.c_str(), "1.0") > 1 ||
        api::IPlexaMessageDispatcher::GetInstance(&mDispatcher) > 1) {
        throw std::runtime_error("no dispatcher");
    }
    mDispatcher->AddListener(&mListener);
    mDispatcher->EnableListener(&mListener);
}

Presence::~Presence() {
    mDispatcher->RemoveListener(&mListener);
    api::IPlexaMessageDispatcher::ReleaseInstance();
}

std::vector<api::EndPoint> Presence::Await(const std::vector<std::string>& inNames) const {
    for (;;) {
        std::vector<api::EndPoint> found(inNames.size());
        std::size_t missing = inNames.size();
        for (const api::EndPoint& endPoint : EndPoints(*mDispatcher)) {
            const std::string name = AppIdOf(endPoint);
            for (std::size_t wanted = 0; wanted != inNames.size(); ++wanted) {
                if (name == inNames[wanted] + "-1.0" && found[wanted] == api::EndPoint()) {
                    found[wanted] = endPoint;
                    --missing;
                }
            }
        }
        if (missing == 0 && mDispatcher->IsDispatcherReady()) return found;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

bool Presence::Send(const std::string& inType, const std::string& inText, const api::EndPoint& inTo) const {
    api::SuiteMessage message(inType.c_str());
    message.SetPayload(inText.c_str());
    message.SetDestination(inTo);
    return mDispatcher->SendMessage(message) <= 1;
}

std::uint64_t NowNanoseconds() {
    return static_cast<std::uint64_t>(
        std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
}

std::uint64_t TakeNumber(std::string_view& ioText) {
    std::uint64_t number = 0;
    const auto result = std::from_chars(ioText.data(), ioText.data() + ioText.size(), number);
    ioText.remove_prefix(static_cast<std::size_t>(result.ptr - ioText.data()));
    if (ioText.starts_with(' ')) ioText.remove_prefix(1);
    return number;
}

}  // namespace campaign::stopped
