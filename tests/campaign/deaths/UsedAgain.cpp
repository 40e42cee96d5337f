#include "UsedAgain.h"

#include <csignal>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "NumberedProcess.h"
#include "Plan.h"
#include "Victim.h"
#include "support/ChildProcess.h"

namespace campaign::deaths {

namespace {

enum class Way : std::uint8_t { kGone, kReused, kTakenOver };

constexpr std::chrono::seconds kPatience{20};
/// More than the unit of a process's start time. No number comes again that soon by itself: before it does,
/// all the others have been given out.
constexpr std::chrono::milliseconds kTick{25};

template <typename Condition>
void Await(const std::string& inWhat, Condition inCondition) {
    const Time limit = std::chrono::steady_clock::now() + kPatience * kPace;
    while (!inCondition()) {
        if (std::chrono::steady_clock::now() > limit) throw std::runtime_error(inWhat);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// The words behind "member" in what a member says.
std::vector<std::string> MembershipOf(const std::string& inSaid) {
    std::istringstream words(inSaid);
    std::string word;
    std::vector<std::string> membership(3);
    words >> word >> membership[0] >> membership[1] >> membership[2];
    return membership;
}

void Expect(NumberedProcess& ioStranger, const std::string& inLine) {
    const std::string line = ioStranger.NextLine();
    if (line != inLine)
        throw std::runtime_error("a stranger with the process id of a dead member says \"" + line +
                                 "\" and not \"" + inLine + "\"");
}

class Unseen {
  public:
    Unseen(Stage& ioStage, const std::string& inName)
        : mStage(ioStage), mName(inName), mAppId(std::string(kVictim) + '-' + inName) {}

    /// How long it took until it was no member any more.
    Time::duration Run(Way inWay) {
        mStage.GetObserver().BeginBatch();
        auto member =
            std::make_unique<support::ChildProcess>(support::Command{RoleWords("deaths-member", {mName})});
        if (!member->AwaitOutput("ready\n"))
            throw std::runtime_error("a member does not join: " + member->Errors());
        Await("a member is not listed", [&] { return mStage.GetObserver().Sees(mAppId); });
        for (int i = 0; i != 3; ++i) mStage.GetObserver().Send();

        const pid_t broker = mStage.Brokers().Current();
        BrokerControl::Stop(broker);
        member->Signal(SIGKILL);
        member->Wait();
        std::this_thread::sleep_for(kTick);
        if (inWay != Way::kGone) LetStrangerIn(*member);
        member.reset();
        if (mStranger && inWay == Way::kTakenOver) Expect(*mStranger, "knocks");
        const Time begin = std::chrono::steady_clock::now();
        if (inWay == Way::kTakenOver) {
            BrokerControl::Continue(broker);
        } else {
            BrokerControl::End(broker, SIGKILL);
        }
        const Time vanished = AwaitEnd(inWay);
        mStage.AwaitQuiet();
        return std::max(vanished - begin, Time::duration::zero());
    }

  private:
    void LetStrangerIn(const support::ChildProcess& inMember) {
        std::vector<std::string> words = MembershipOf(inMember.Output());
        words.insert(words.begin(), mName);
        mStranger = std::make_unique<NumberedProcess>(inMember.Id(), RoleWords("deaths-stranger", words));
    }

    Time AwaitEnd(Way inWay) {
        Observer& observer = mStage.GetObserver();
        if (mStranger) {
            if (inWay == Way::kReused) Expect(*mStranger, "knocks");
            Expect(*mStranger, "refused");
            Expect(*mStranger, "joined");
            Await("a stranger is not listed", [&] { return observer.Sees(mAppId + 'b'); });
        }
        Await("a dead member stays listed", [&] { return observer.Vanished(mAppId).has_value(); });
        const Time vanished = *observer.Vanished(mAppId);
        mStranger.reset();
        return vanished;
    }

    Stage& mStage;
    const std::string mName;
    const std::string mAppId;
    std::unique_ptr<NumberedProcess> mStranger;
};

}  // namespace

UnseenToll RunUnseenDeaths(Stage& ioStage, std::size_t inCount, Latencies& ioLatencies) {
    UnseenToll toll;
    if (inCount != 0) ioStage.ReplaceBroker();
    const bool strangers = CanChooseProcessIds();
    for (std::size_t i = 0; i != inCount; ++i) {
        const auto way = static_cast<Way>(i % 3);
        if (way != Way::kGone && !strangers) {
            ++toll.mSkipped;
            continue;
        }
        ioLatencies.Add(Unseen(ioStage, "unseen" + std::to_string(i)).Run(way));
        std::size_t& count =
            way == Way::kGone ? toll.mGone : (way == Way::kReused ? toll.mReused : toll.mTakenOver);
        ++count;
    }
    return toll;
}

}  // namespace campaign::deaths
