// The role "victim": KIND NAME SEED. Kind "sitter" is what another kind goes on as.
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string_view>

#include "Roles.h"
#include "Victims.h"

namespace campaign::deaths {

namespace {

/// No victim outlives the campaign by much, nor does the copy that one leaves.
constexpr unsigned kLongestLife = 300;

bool SpeaksByHand(Kind inKind) {
    switch (inKind) {
        case Kind::kConnected:
        case Kind::kGreeting:
        case Kind::kJoining:
        case Kind::kHalfFrame:
        case Kind::kForkedInside:
            return true;
        default:
            return false;
    }
}

}  // namespace

void Linger() {
    for (;;) ::pause();
}

void Say(const std::string& inLine) {
    const std::string line = inLine + '\n';
    if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) Linger();
}

int RunVictim(std::span<char* const> inWords) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::alarm(kLongestLife);
    if (inWords.size() != 3) throw std::invalid_argument("a victim is told KIND NAME SEED");
    if (std::string_view(inWords[0]) == "sitter") {
        Say("ready");
        Linger();
    }
    const Kind kind = KindOf(inWords[0]);
    Task task{inWords[1], Random(std::stoull(inWords[2]))};
    if (SpeaksByHand(kind)) LiveOnTheWire(kind, std::move(task));
    LiveAsClient(kind, std::move(task));
}

}  // namespace campaign::deaths
