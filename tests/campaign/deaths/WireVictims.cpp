// Victims that write their frames by hand and stop in the middle of things; and the members whose process ids
// are used again.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>

#include "Payloads.h"
#include "RawClient.h"
#include "Roles.h"
#include "Victims.h"

namespace campaign::deaths {

namespace {

constexpr std::size_t kLarge = (std::size_t{1} << 20U) - 64;

std::string AppId(const std::string& inProduct, const std::string& inName) {
    return inProduct + "-" + inName;
}

wire::Join Joining(const Task& inTask, wire::Nonce inNonce = {1, 2}) {
    wire::Join join;
    join.appId = AppId(kVictim, inTask.mName);
    join.nonce = inNonce;
    return join;
}

/// At least one byte, and not all.
std::string_view Part(std::string_view inBytes, Random& ioRandom) {
    const std::size_t most = ioRandom.OneIn(2) ? std::min<std::size_t>(inBytes.size(), 64) : inBytes.size();
    return inBytes.substr(0, 1 + ioRandom.Below(most - 1));
}

void Check(bool inSent) {
    if (!inSent) throw std::runtime_error("a victim was disconnected before its time");
}

void SendAllOrPart(const RawClient& inClient, const std::string& inBytes, Random& ioRandom) {
    Check(inClient.Send(ioRandom.OneIn(2) ? Part(inBytes, ioRandom) : std::string_view(inBytes)));
}

/// Some whole messages to the observer, and one that is cut off; returns the rest of that.
std::string SendUpToTheMiddle(RawClient& ioClient, Random& ioRandom) {
    const std::uint64_t whole = ioRandom.Below(4);
    for (std::uint64_t number = 1; number <= whole; ++number)
        Check(ioClient.Send(MessageFrame(number, ioClient.Observer(), "victim", Numbered(number, 64))));
    const std::size_t size = ioRandom.OneIn(2) ? 64 + ioRandom.Below(1'000) : 1 + ioRandom.Below(kLarge);
    const std::string last =
        MessageFrame(whole + 1, ioClient.Observer(), "victim", Numbered(whole + 1, size));
    const std::string_view part = Part(last, ioRandom);
    Check(ioClient.Send(part));
    return last.substr(part.size());
}

/// Leaves a copy that goes on with the message as soon as its elder is dead.
void LeaveCopy(const RawClient& inClient, const std::string& inRest) {
    const pid_t self = ::getpid();
    const pid_t copy = ::fork();
    if (copy < 0) throw std::runtime_error("a victim gets no copy");
    if (copy == 0) {
        ::alarm(300);
        while (::getppid() == self) ::usleep(500);
        // Nobody may take this for the dead one's.
        inClient.Send(inRest);
        Linger();
    }
    Say("copy " + std::to_string(copy));
}

}  // namespace

void LiveOnTheWire(Kind inKind, Task ioTask) {
    RawClient client;
    Random& random = ioTask.mRandom;
    switch (inKind) {
        case Kind::kGreeting:
            SendAllOrPart(client, client.Greeting(), random);
            break;
        case Kind::kJoining:
            Check(client.Greet());
            SendAllOrPart(client, client.Request(Joining(ioTask)), random);
            break;
        case Kind::kHalfFrame:
            Check(client.Greet() && client.Join(Joining(ioTask)));
            SendUpToTheMiddle(client, random);
            break;
        case Kind::kForkedInside:
            Check(client.Greet() && client.Join(Joining(ioTask)));
            LeaveCopy(client, SendUpToTheMiddle(client, random));
            break;
        default:
            break;
    }
    Say("ready");
    Linger();
}

int RunMember(std::span<char* const> inWords) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    Task task{inWords[0], Random(1)};
    const wire::Nonce nonce{17, static_cast<std::uint64_t>(::getpid())};
    RawClient client;
    Check(client.Greet() && client.Join(Joining(task, nonce)));
    Say("member " + std::to_string(client.Member()) + ' ' + std::to_string(nonce[0]) + ' ' +
        std::to_string(nonce[1]));
    Say("ready");
    Linger();
}

namespace {

/// With brokers that come and go. None: it was let in.
wire::RefuseCode TryToJoin(const wire::Join& inJoin) {
    for (bool first = true;; first = false) {
        RawClient client;
        const bool greeted = client.Greet();
        if (first) Say("knocks");
        if (greeted && client.Join(inJoin)) return wire::RefuseCode::None;
        if (client.Refusal() != wire::RefuseCode::None) return client.Refusal();
    }
}

}  // namespace

int RunStranger(std::span<char* const> inWords) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::alarm(300);
    const Task task{inWords[0], Random(1)};
    wire::Join back = Joining(task, {std::stoull(inWords[2]), std::stoull(inWords[3])});
    back.member = std::stoull(inWords[1]);
    Say(TryToJoin(back) == wire::RefuseCode::Expired ? "refused" : "taken");
    RawClient client;
    wire::Join own = back;
    own.member = 0;
    own.appId = AppId(kVictim, task.mName + 'b');
    if (client.Greet() && client.Join(own)) Say("joined");
    Linger();
}

}  // namespace campaign::deaths
