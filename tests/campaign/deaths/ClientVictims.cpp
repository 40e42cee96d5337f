// Victims that are on the bus with the message library.
#include <PlexaMessage5/PlexaMessage5.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "Book.h"
#include "Payloads.h"
#include "Victims.h"
#include "support/Texts.h"

namespace campaign::deaths {

namespace api = orvane::plexa::api5;

namespace {

constexpr std::size_t kLarge = (std::size_t{1} << 20U) - 64;

std::chrono::microseconds Microseconds(std::uint64_t inCount) { return std::chrono::microseconds(inCount); }

/// Says what it is given. Slow if it is to die while it receives.
class Listener final : public api::IPlexaMessageListener {
  public:
    Listener(bool inSlow, std::uint64_t inSeed) : mSlow(inSlow), mRandom(inSeed) {}

    void Receive(const api::PlexaMessage& inMessage) override {
        if (dynamic_cast<const api::SuiteMessage*>(&inMessage) == nullptr) return;
        const auto number = NumberOfType(TypeOf(inMessage));
        if (!number) return;
        Say("began " + std::to_string(*number));
        if (mSlow) std::this_thread::sleep_for(Microseconds(mRandom.Below(5'000)));
        Say("got " + std::to_string(*number));
    }

  private:
    const bool mSlow;
    Random mRandom;
};

class Client {
  public:
    Client(const std::string& inName, bool inSlow, std::uint64_t inSeed) : mListener(inSlow, inSeed) {
        if (api::IPlexaMessageDispatcher::SetConfig(kVictim, inName.c_str()) > 1 ||
            api::IPlexaMessageDispatcher::GetInstance(&mDispatcher) > 1)
            throw std::runtime_error("a victim gets no dispatcher");
        mDispatcher->AddListener(&mListener);
        mDispatcher->EnableListener(&mListener);
    }
    void AwaitReady() const {
        while (!mDispatcher->IsDispatcherReady()) std::this_thread::sleep_for(Microseconds(200));
    }
    /// To anybody, or to everybody.
    void Send(Random& ioRandom, std::size_t inSize) {
        const std::vector<api::EndPoint> all = EndPoints(*mDispatcher);
        api::SuiteMessage message("victim");
        message.SetPayload(Numbered(++mSent, inSize).c_str());
        if (!all.empty() && !ioRandom.OneIn(4)) message.SetDestination(all[ioRandom.Below(all.size())]);
        mDispatcher->SendMessage(message);
    }

  private:
    Listener mListener;
    api::IPlexaMessageDispatcher* mDispatcher = nullptr;
    std::uint64_t mSent = 0;
};

/// Sends until it is killed.
[[noreturn]] void Chat(Client& ioClient, Random& ioRandom, bool inMuch) {
    for (;;) {
        std::size_t size = 64 + ioRandom.Below(4'000);
        if (ioRandom.OneIn(inMuch ? 3 : 20)) size = 1 + ioRandom.Below(kLarge);
        ioClient.Send(ioRandom, size);
        if (!inMuch) std::this_thread::sleep_for(Microseconds(ioRandom.Below(1'000)));
    }
}

/// Leaves a copy that has everything which is open here, with or without the message library knowing of it.
void LeaveCopy(Random& ioRandom) {
    const bool unknown = ioRandom.OneIn(2);
    const pid_t copy = unknown ? ::_Fork() : ::fork();
    if (copy < 0) throw std::runtime_error("a victim gets no copy");
    if (copy == 0) {
        ::alarm(300);
        Linger();
    }
    Say("copy " + std::to_string(copy));
}

[[noreturn]] void BecomeAnother(const std::string& inKind, const std::string& inName) {
    const std::string program = "/proc/self/exe";
    ::execl(program.c_str(), program.c_str(), "role", "deaths-victim", inKind.c_str(), inName.c_str(), "1",
            nullptr);
    throw std::runtime_error("a victim cannot become another program");
}

}  // namespace

void LiveAsClient(Kind inKind, Task ioTask) {
    // Whatever thread is in it when the process goes on as another one: it is never destroyed.
    auto& client = *new Client(ioTask.mName, inKind == Kind::kReceiving, ioTask.mRandom.Below(1U << 30U));
    if (InfoOf(inKind).mTellsReady) client.AwaitReady();
    switch (inKind) {
        case Kind::kForked:
            LeaveCopy(ioTask.mRandom);
            break;
        case Kind::kExec:
            BecomeAnother("sitter", ioTask.mName);
        case Kind::kReplaced:
            if (!ioTask.mName.ends_with('b')) BecomeAnother("replaced", ioTask.mName + 'b');
            break;
        default:
            break;
    }
    if (InfoOf(inKind).mTellsReady) Say("ready");
    if (inKind == Kind::kReceiving) Linger();
    Chat(client, ioTask.mRandom, inKind == Kind::kSending);
}

}  // namespace campaign::deaths
