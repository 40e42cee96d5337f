// The processes that take part: members, which stay from beginning to end, and guests, which come and go.
#include "Roles.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "Peer.h"
#include "support/SharedBoard.h"

namespace campaign::kills {

namespace {

constexpr std::chrono::seconds kGuestLimit{60};

struct Setting {
    SharedBoard<Board> mBoard;
    std::size_t mPlace;
    std::uint64_t mSeed;

    /// Board file, place, seed.
    explicit Setting(std::span<char* const> inWords)
        : mBoard(inWords[0]), mPlace(std::stoul(inWords[1])), mSeed(std::stoull(inWords[2])) {
        if (mPlace >= kPlaces) throw std::invalid_argument("there is no such place");
    }
};

void Pause(Random& ioRandom, std::uint64_t inMilliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ioRandom.Below(inMilliseconds + 1)));
}

/// Mostly a few messages, sometimes many, sometimes some of the largest.
void SendBurst(Peer& ioPeer, Random& ioRandom) {
    if (ioRandom.OneIn(500)) {
        for (int i = 0; i != 4; ++i) ioPeer.Broadcast(kLargest);
        return;
    }
    for (auto left = ioRandom.OneIn(16) ? ioRandom.Below(64) : 1; left != 0; --left) ioPeer.SendAny();
}

void SendUntilStopped(Peer& ioPeer, const Setting& inSetting) {
    Random random(inSetting.mSeed, inSetting.mPlace + 2 * kPlaces);
    Board& board = *inSetting.mBoard;
    for (std::uint64_t lastFault = 0; !board.mStop;) {
        // So that it shows soon who is back.
        if (const std::uint64_t fault = board.mFault; fault != lastFault) {
            lastFault = fault;
            ioPeer.Broadcast(kSmallest);
        }
        if (!ioPeer.HasSentALot()) SendBurst(ioPeer, random);
        Pause(random, 8);
    }
    board.mPlaces[inSetting.mPlace].mQuiet = true;
}

/// Breaks this process's connections to the broker, in one direction or both.
void BreakConnection(Random& ioRandom) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        sockaddr_un address{};
        socklen_t size = sizeof address;
        if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            address.sun_family == AF_UNIX && std::string_view(address.sun_path).ends_with("/broker.sock"))
            ::shutdown(descriptor, static_cast<int>(ioRandom.Below(3)));
    }
}

}  // namespace

int RunMember(std::span<char* const> inWords) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const Setting setting(inWords);
    Place& own = setting.mBoard->mPlaces[setting.mPlace];
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, kBreakSignal);
    sigaddset(&signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    Peer peer(*setting.mBoard, setting.mPlace, setting.mSeed, true);
    std::thread sending([&] {
        while (!peer.KnowsAll()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        own.mKnowsAll = true;
        while (!setting.mBoard->mGo) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        SendUntilStopped(peer, setting);
    });
    Random random(setting.mSeed, setting.mPlace + 3 * kPlaces);
    for (int signal = 0; ::sigwait(&signals, &signal) == 0 && signal != SIGTERM;) {
        BreakConnection(random);
        ++own.mBreaks;
    }
    sending.join();
    return 0;
}

int RunGuest(std::span<char* const> inWords) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const Setting setting(inWords);
    Random random(setting.mSeed, setting.mPlace + 2 * kPlaces);
    const auto limit = std::chrono::steady_clock::now() + kGuestLimit;
    Peer peer(*setting.mBoard, setting.mPlace, setting.mSeed, false);
    const auto awaits = [&](const auto& inCondition, const char* inWhat) {
        while (!inCondition()) {
            if (std::chrono::steady_clock::now() > limit) {
                peer.Trouble(std::string("still waits for ") + inWhat);
                return false;
            }
            Pause(random, 2);
        }
        return true;
    };

    for (std::uint64_t i = 0; i != kGuestsFirstBroadcasts; ++i) peer.Broadcast(kSmallest << random.Below(6));
    if (!awaits([&] { return peer.KnowsAll(); }, "the members to be listed")) return 1;
    peer.AwaitAllFromNowOn();
    for (auto left = random.Below(40); left != 0; --left) {
        peer.SendAny();
        Pause(random, 5);
    }
    return awaits([&] { return peer.HasWhatItAwaits(); }, "broadcasts or answers") ? 0 : 1;
}

}  // namespace campaign::kills
