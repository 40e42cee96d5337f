#include "Stage.h"

#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "Account.h"

namespace campaign::kills {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds kLook{500};

bool HasEnded(const support::ChildProcess& inProcess) {
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(inProcess.Id()), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid != 0;
}

// Waits for a process that is about to end, and complains unless it ends well.
void CheckEnd(support::ChildProcess& ioProcess, const std::string& inWho) {
    const auto code = ioProcess.Wait(Stage::kPatience);
    if (!code) throw std::runtime_error(inWho + " doesn't end");
    if (*code != 0)
        throw std::runtime_error(inWho + " ended with code " + std::to_string(*code) + "\n" +
                                 ioProcess.Errors());
}

fs::path NewFolder(const support::PrivateBus& inBus) {
    const fs::path folder = inBus.Folder() / "campaign";
    fs::create_directory(folder);
    return folder;
}

}  // namespace

Stage::Stage(std::size_t inMembers, std::uint64_t inSeed, std::chrono::seconds inLimit)
    : mSeed(inSeed),
      mEnd(Clock::now() + inLimit),
      mFolder(NewFolder(mBus)),
      mBroker(mBus),
      mBoard(mFolder / "board") {
    UseProgram(NUOPLEXA_BROKER_PROGRAM);
    mBoard->mMembers = static_cast<std::uint32_t>(inMembers);
    while (mPlaces != inMembers) mMembers.push_back(Start("kills-member", mPlaces++));
    Await("the members to meet", [&] {
        std::string missing;
        for (std::size_t member = 0; member != inMembers; ++member)
            if (!mBoard->mPlaces[member].mKnowsAll)
                missing += "  P" + std::to_string(member) + " doesn't see all\n";
        return missing;
    });
    mBoard->mGo = true;
}

Stage::Process Stage::Start(const char* inRole, std::size_t inPlace) {
    auto environment = mBus.Environment(mFolder);
    environment["PLEXA_BROKER"] = (mFolder / "OrvaneIPCBroker").string();
    return std::make_unique<support::ChildProcess>(
        support::Command{{fs::read_symlink("/proc/self/exe"), "role", inRole, mFolder / "board",
                          std::to_string(inPlace), std::to_string(mSeed)},
                         std::move(environment)});
}

void Stage::Pause(std::chrono::microseconds inTime) {
    const auto end = Clock::now() + inTime;
    for (;;) {
        CheckMembers();
        CheckGuests();
        const auto now = Clock::now();
        if (now >= mEnd) throw std::runtime_error("the time for the whole run is over");
        if (now >= end) return;
        std::this_thread::sleep_for(std::min<Clock::duration>(end - now, std::chrono::milliseconds(5)));
    }
}

void Stage::Await(const std::string& inWhat, const std::function<std::string()>& inMissing,
                  std::chrono::seconds inLimit) {
    const auto limit = Clock::now() + inLimit;
    for (std::string missing; !(missing = inMissing()).empty();) {
        if (Clock::now() > limit) throw std::runtime_error("waited in vain for " + inWhat + "\n" + missing);
        Pause(kLook);
    }
}

pid_t Stage::AwaitBroker(pid_t inNot) {
    pid_t broker = 0;
    Await("a broker", [&]() -> std::string {
        broker = mBroker.Current();
        return broker != 0 && broker != inNot ? "" : "none listens";
    });
    return broker;
}

void Stage::CheckMembers() {
    if (mBoard->mWrong) throw std::runtime_error("the promise doesn't hold");
    for (std::size_t member = 0; member != mMembers.size(); ++member)
        if (HasEnded(*mMembers[member])) {
            CheckEnd(*mMembers[member], "member P" + std::to_string(member));
            throw std::runtime_error("member P" + std::to_string(member) + " has ended");
        }
}

void Stage::CheckGuests() {
    std::erase_if(mGuests, [](const Process& inGuest) {
        const bool hasEnded = HasEnded(*inGuest);
        if (hasEnded) CheckEnd(*inGuest, "a guest");
        return hasEnded;
    });
}

void Stage::Stop(std::size_t inMember) {
    const support::ChildProcess& member = *mMembers[inMember];
    member.Signal(SIGSTOP);
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(member.Id()), &info, WSTOPPED) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot wait for a stopped member");
}

std::size_t Stage::Invite() {
    if (mPlaces == kPlaces) throw std::runtime_error("there is no place left");
    mGuests.push_back(Start("kills-guest", mPlaces));
    return mPlaces++;
}

void Stage::AwaitGuestsGone() {
    Await(
        "guests to leave",
        [&] { return mGuests.empty() ? "" : "  " + std::to_string(mGuests.size()) + " are still there\n"; },
        2 * kPatience);
}

void Stage::Close() {
    for (std::size_t member = 0; member != mMembers.size(); ++member) Signal(member, SIGTERM);
    for (std::size_t member = 0; member != mMembers.size(); ++member)
        CheckEnd(*mMembers[member], "member P" + std::to_string(member));
    mMembers.clear();
    if (const pid_t broker = mBroker.Current(); broker != 0) BrokerControl::End(broker, SIGTERM);
    Await("brokers to end", [&] { return mBroker.AllEnded() ? "" : "  one still runs\n"; });
}

void Stage::UseProgram(const fs::path& inFile) {
    fs::create_symlink(inFile, mFolder / "new");
    fs::rename(mFolder / "new", mFolder / "OrvaneIPCBroker");
}

fs::path Stage::ExchangeProgram() {
    mProgram = 3 - std::max(mProgram, 1);
    const fs::path file = mFolder / ("broker-" + std::to_string(mProgram));
    if (!fs::exists(file)) fs::copy_file(NUOPLEXA_BROKER_PROGRAM, file);
    UseProgram(file);
    return file;
}

std::string Stage::SaveLog() const {
    const fs::path place = fs::temp_directory_path() / ("campaign-kills-" + std::to_string(mSeed) + ".log");
    std::ofstream log(place);
    for (const char* const name : {"broker.log", "broker.1.log"})
        if (std::ifstream part(mBus.Folder() / name); part) log << part.rdbuf();
    return place;
}

}  // namespace campaign::kills
