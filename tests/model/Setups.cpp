#include "Setups.h"

#include <stdexcept>

namespace orvane::plexa::test {
namespace {

const Setup::Client kS{.name = "S", .receives = false};
const Setup::Client kT{.name = "T", .receives = false};
const Setup::Client kR{.name = "R"};
const Setup::Client kQ{.name = "Q"};
const Setup::Client kA{.name = "A"};
const Setup::Client kB{.name = "B"};

Setup::Client Later(Setup::Client inClient) {
    inClient.joinsLater = true;
    return inClient;
}

std::vector<Setup> MakeShort() {
    std::vector<Setup> setups = {
        // Faults alone.
        {.name = "killed twice", .clients = {kS, kR}, .messages = {{0}, {0, 1}}, .kills = 2},
        {.name = "killed, and a connection lost",
         .clients = {kS, kR},
         .messages = {{0}, {0, 1}},
         .kills = 1,
         .breaks = 1},
        {.name = "connections lost twice, noticed late",
         .clients = {kS, kR},
         .messages = {{0, 1}, {0}},
         .breaks = 2,
         .unevenBreaks = true},
        {.name = "three messages, killed", .clients = {kS, kR}, .messages = {{0}, {0}, {0, 1}}, .kills = 1},
        {.name = "two receivers, killed", .clients = {kS, kR, kQ}, .messages = {{0}}, .kills = 1},
        {.name = "two receivers, connections lost",
         .clients = {kS, kR, kQ},
         .messages = {{0, 1}, {0}},
         .breaks = 1},
        {.name = "two senders, killed", .clients = {kS, kT, kR}, .messages = {{0}, {1, 2}}, .kills = 1},
        {.name = "two senders, connection lost",
         .clients = {kS, kT, kR},
         .messages = {{0}, {1}},
         .breaks = 1},
        {.name = "both roles, killed", .clients = {kA, kB}, .messages = {{0}, {1, 0}}, .kills = 1},
        {.name = "both roles, connection lost", .clients = {kA, kB}, .messages = {{0, 1}, {1}}, .breaks = 1},
        // Windows.
        {.name = "window of one, killed",
         .clients = {kS, kR},
         .messages = {{0}, {0}, {0, 1}},
         .window = 1,
         .kills = 1},
        {.name = "window of two, connection lost",
         .clients = {kS, kR},
         .messages = {{0}, {0, 1}, {0}, {0}},
         .window = 2,
         .breaks = 1},
        {.name = "window of one, two receivers",
         .clients = {kS, kR, kQ},
         .messages = {{0}, {0}},
         .window = 1},
        // Joining.
        {.name = "receiver joins, killed", .clients = {kS, Later(kR)}, .messages = {{0}, {0}}, .kills = 1},
        {.name = "second receiver joins, killed",
         .clients = {kS, kQ, Later(kR)},
         .messages = {{0}},
         .kills = 1},
        {.name = "sender joins, killed", .clients = {kR, Later(kS)}, .messages = {{1}, {1, 0}}, .kills = 1},
        {.name = "sender joins, connection lost",
         .clients = {kR, Later(kS)},
         .messages = {{1}, {1, 0}},
         .breaks = 1},
        {.name = "receiver joins between two frames",
         .clients = {kS, Later(kR)},
         .messages = {{0}, {0}},
         .breaks = 1,
         .splitWrites = true},
        // Expiry.
        {.name = "expired after a lost connection",
         .clients = {kS, kR},
         .messages = {{0}, {0, 1}},
         .breaks = 1,
         .expiries = 1},
        {.name = "expired, connections lost twice",
         .clients = {kS, kR},
         .messages = {{0}},
         .breaks = 2,
         .expiries = 1},
        {.name = "expired after a kill",
         .clients = {kS, kR},
         .messages = {{0, 1}, {0}},
         .kills = 1,
         .expiries = 1},
        // Cut off.
        {.name = "cut off, connection lost",
         .clients = {kS, kR},
         .messages = {{0}, {0, 1}},
         .arrears = 1,
         .breaks = 1,
         .stalls = 1,
         .eagerReports = true},
        {.name = "cut off, killed",
         .clients = {kS, kR},
         .messages = {{0, 1}, {0}},
         .arrears = 1,
         .kills = 1,
         .stalls = 1,
         .eagerReports = true},
        // Leaving.
        {.name = "receiver leaves, killed",
         .clients = {kS, kR},
         .messages = {{0, 1}, {0}},
         .kills = 1,
         .leavers = 2,
         .slowListeners = true},
        {.name = "receiver leaves, connection lost",
         .clients = {kS, kR},
         .messages = {{0, 1}, {0, 1}},
         .breaks = 1,
         .leavers = 2,
         .slowListeners = true},
        {.name = "sender lingers, killed",
         .clients = {kS, kR},
         .messages = {{0}, {0, 1}},
         .kills = 1,
         .leavers = 1},
        {.name = "sender is impatient, receiver joins, killed",
         .clients = {kS, Later(kR)},
         .messages = {{0}},
         .kills = 1,
         .leavers = 1,
         .impatient = true},
        {.name = "sender is impatient, killed",
         .clients = {kS, kR},
         .messages = {{0, 1}, {0}},
         .kills = 1,
         .leavers = 1,
         .impatient = true},
        {.name = "both leave", .clients = {kA, kB}, .messages = {{0, 1}, {1, 0}}, .leavers = 3},
        // Processes end.
        {.name = "receiver ends, killed",
         .clients = {kS, kR},
         .messages = {{0, 1}, {0}},
         .kills = 1,
         .enders = 2},
        {.name = "sender ends, connection lost",
         .clients = {kS, kR},
         .messages = {{0}, {0, 1}},
         .breaks = 1,
         .enders = 1},
        // Interest.
        {.name = "interest changes, killed",
         .clients = {kS, kR},
         .messages = {{0}, {0}},
         .kills = 1,
         .choosers = 2,
         .choice = {{"m1"}}},
        {.name = "interest, connection lost",
         .clients = {kS, {.name = "R", .interest = {{"m0"}}}},
         .messages = {{0}, {0}, {0, 1}},
         .breaks = 1},
        // Slots.
        {.name = "two receivers change places", .clients = {kS, kR, kQ}, .messages = {{0, 1}}, .breaks = 2},
        {.name = "two senders change places",
         .clients = {kS, kT, kR},
         .messages = {{0, 2}, {1, 2}},
         .kills = 1},
    };
    for (Setup& setup : setups) {
        setup.slowSnapshots = setup.clients.size() == 2;
    }
    return setups;
}

std::vector<Setup> MakeLong() {
    return {
        {.name = "killed three times", .clients = {kS, kR}, .messages = {{0}, {0, 1}, {0}}, .kills = 3},
        {.name = "two receivers, two messages, killed",
         .clients = {kS, kR, kQ},
         .messages = {{0}, {0}},
         .kills = 1},
    };
}

}  // namespace

const std::vector<Setup>& ShortSetups() {
    static const std::vector<Setup> sSetups = MakeShort();
    return sSetups;
}

const std::vector<Setup>& LongSetups() {
    static const std::vector<Setup> sSetups = MakeLong();
    return sSetups;
}

const Setup& FindSetup(const char* inName) {
    for (const auto* setups : {&ShortSetups(), &LongSetups()}) {
        for (const Setup& setup : *setups) {
            if (setup.name == inName) {
                return setup;
            }
        }
    }
    throw std::invalid_argument(inName);
}

}  // namespace orvane::plexa::test
