// Long runs with real processes, in which brokers, connections and clients are made to fail.
//
//   bus_campaign NAME [setting=number ...]
//
// Every campaign prints its seed, which, given as seed=N, repeats its schedule. The processes that take part
// are this program again: bus_campaign role NAME WORD ...
#include <array>
#include <exception>
#include <iostream>
#include <span>
#include <stdexcept>
#include <string_view>

#include "Campaigns.h"
#include "deaths/Roles.h"
#include "kills/Roles.h"
#include "stopped/Roles.h"

namespace {

struct Campaign {
    std::string_view mName;
    std::string_view mPurpose;
    int (*mRun)(campaign::Arguments ioArguments);
};
struct Role {
    std::string_view mName;
    int (*mRun)(std::span<char* const> inWords);
};

constexpr std::array kCampaigns{
    Campaign{"deaths", "clients that die at random moments and must leave nothing behind",
             campaign::RunDeaths},
    Campaign{"kills", "brokers and connections that fail again and again while processes exchange messages",
             campaign::RunKills},
    Campaign{"stopped", "a receiver that stands still or is slow, among others that must not notice",
             campaign::RunStopped},
    Campaign{"return", "how soon many clients are back after the broker was killed", campaign::RunReturn},
};
constexpr std::array kRoles{
    Role{"deaths-victim", campaign::deaths::RunVictim},
    Role{"deaths-member", campaign::deaths::RunMember},
    Role{"deaths-stranger", campaign::deaths::RunStranger},
    Role{"deaths-survivor", campaign::deaths::RunSurvivor},
    Role{"kills-member", campaign::kills::RunMember},
    Role{"kills-guest", campaign::kills::RunGuest},
    Role{"stopped-sender", campaign::stopped::RunSender},
    Role{"stopped-receiver", campaign::stopped::RunReceiver},
    Role{"return-client", campaign::stopped::RunReturning},
};

void Explain() {
    std::cerr << "usage: bus_campaign NAME [setting=number ...]\n";
    for (const Campaign& campaign : kCampaigns)
        std::cerr << "  " << campaign.mName << "\n      " << campaign.mPurpose << '\n';
}

int Run(std::span<char* const> inWords) {
    const std::string_view name = inWords.empty() ? std::string_view() : inWords[0];
    if (name == "role" && inWords.size() > 1) {
        for (const Role& role : kRoles)
            if (role.mName == inWords[1]) return role.mRun(inWords.subspan(2));
    }
    for (const Campaign& campaign : kCampaigns)
        if (campaign.mName == name) return campaign.mRun(campaign::Arguments(inWords.subspan(1)));
    Explain();
    return 2;
}

}  // namespace

int main(int inCount, char** inWords) {
    try {
        return Run(std::span<char* const>(inWords, static_cast<std::size_t>(inCount)).subspan(1));
    } catch (const std::invalid_argument& error) {
        std::cerr << "bus_campaign: " << error.what() << '\n';
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "bus_campaign: " << error.what() << '\n';
        return 1;
    }
}
