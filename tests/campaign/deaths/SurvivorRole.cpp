// The role "survivor": sends back what it is sent.
#include <PlexaMessage5/PlexaMessage5.h>
#include <sys/prctl.h>

#include <csignal>
#include <stdexcept>

#include "Payloads.h"
#include "Plan.h"
#include "Roles.h"
#include "Victims.h"
#include "support/Texts.h"

namespace campaign::deaths {

namespace api = orvane::plexa::api5;

namespace {

class Echo final : public api::IPlexaMessageListener {
  public:
    api::IPlexaMessageDispatcher* mDispatcher = nullptr;

    void Receive(const api::PlexaMessage& inMessage) override {
        const auto* message = dynamic_cast<const api::SuiteMessage*>(&inMessage);
        if (message == nullptr || TypeOf(inMessage) != "ask") return;
        api::SuiteMessage answer("echo");
        answer.SetPayload(Numbered(NumberOf(*message), 0).c_str());
        answer.SetDestination(inMessage.GetSource());
        mDispatcher->SendMessage(answer);
    }
};

}  // namespace

int RunSurvivor(std::span<char* const> /*inWords*/) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    auto& echo = *new Echo;
    if (api::IPlexaMessageDispatcher::SetConfig(kSurvivor, "1") > 1 ||
        api::IPlexaMessageDispatcher::GetInstance(&echo.mDispatcher) > 1)
        throw std::runtime_error("the survivor gets no dispatcher");
    echo.mDispatcher->AddListener(&echo);
    echo.mDispatcher->EnableListener(&echo);
    Linger();
}

}  // namespace campaign::deaths
