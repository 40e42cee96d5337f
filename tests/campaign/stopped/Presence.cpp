#include "Presence.h"

#include <charconv>
#include <csignal>
#include <stdexcept>
#include <thread>

#include <sys/prctl.h>

namespace campaign::stopped {

namespace api = orvane::plexa::api5;

namespace {

std::string Filled(std::size_t inSize, const std::function<void(char*)>& inFill) {
    std::string text(inSize, '\0');
    inFill(text.data());
    text.resize(inSize - 1);
    return text;
}

}  // namespace

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
        api::EndPoint* list = nullptr;
        std::size_t count = 0;
        mDispatcher->GetEndPointList(&list, &count);
        for (std::size_t i = 0; i != count; ++i) {
            const std::string name = NameOf(list[i]);
            for (std::size_t wanted = 0; wanted != inNames.size(); ++wanted) {
                if (name == inNames[wanted] + "-1.0" && found[wanted] == api::EndPoint()) {
                    found[wanted] = list[i];
                    --missing;
                }
            }
        }
        if (list != nullptr) mDispatcher->ReleaseEndPointList(list);
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

std::string NameOf(const api::EndPoint& inEndPoint) {
    return Filled(inEndPoint.GetAppIdSize(), [&](char* outText) { inEndPoint.GetAppId(outText); });
}

std::string PayloadOf(const api::SuiteMessage& inMessage) {
    return Filled(inMessage.GetPayloadSize(), [&](char* outText) { inMessage.GetPayload(outText); });
}

std::string TypeOf(const api::PlexaMessage& inMessage) {
    const std::string text =
        Filled(inMessage.GetMessageTextSize(), [&](char* outText) { inMessage.GetMessageText(outText); });
    const std::size_t begin = text.find("<type>") + 6;
    return text.substr(begin, text.find("</type>") - begin);
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
