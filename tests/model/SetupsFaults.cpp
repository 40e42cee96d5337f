// Faults of connections and broker, alone, with narrow windows, and while clients join.
#include "SetupClients.h"

namespace orvane::plexa::test {

std::vector<Setup> MakeFaults() {
    return {
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
        // Slots.
        {.name = "two receivers change places", .clients = {kS, kR, kQ}, .messages = {{0, 1}}, .breaks = 2},
        {.name = "two senders change places",
         .clients = {kS, kT, kR},
         .messages = {{0, 2}, {1, 2}},
         .kills = 1},
    };
}

}  // namespace orvane::plexa::test
