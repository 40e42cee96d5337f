// What one search starts from, and what may happen in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "wire/Limits.h"

namespace orvane::plexa::test {

inline constexpr std::size_t kMostClients = 4;
inline constexpr std::size_t kMostMessages = 6;
inline constexpr std::uint8_t kAll = 255;

struct Setup {
    struct Client {
        std::string name;
        bool receives = true;
        /// Its first connection is made at some time during the search; otherwise it is a member from the
        /// start.
        bool joinsLater = false;
        wire::Interest interest{};
    };
    /// Of the type "m0", "m1" ... by its place in the list; those of one sender are sent in this order.
    struct Message {
        std::uint8_t sender = 0;
        std::uint8_t receiver = kAll;
    };
    std::string name;
    std::vector<Client> clients;
    std::vector<Message> messages;

    /// So many messages fit the window of a lane; 0: all.
    unsigned window = 0;
    /// So many messages fit the arrears of a lane; 0: all.
    unsigned arrears = 0;

    // How often each of these may happen, at any time.
    std::uint8_t kills = 0;     // of the broker; a new one starts at once
    std::uint8_t breaks = 0;    // of a connection
    std::uint8_t expiries = 0;  // all who are away have been so for too long
    std::uint8_t stalls = 0;    // nothing moves until the limit for that

    // Which clients may do these, as a set of bits, each once.
    unsigned leavers = 0;   // withdraw as a receiver, linger, leave
    unsigned enders = 0;    // the process ends
    unsigned choosers = 0;  // take up `choice` as their interest
    wire::Interest choice{};

    /// The two ends of a broken connection notice at different times.
    bool unevenBreaks = false;
    /// A socket may take only the first frames of a write; the rest waits in the client's output, and the
    /// client reads on.
    bool splitWrites = false;
    /// A listener's call and its return are two steps.
    bool slowListeners = false;
    /// Lingering may end with something still owed.
    bool impatient = false;
    /// The notices about others that a client gets on joining are read one by one.
    bool slowSnapshots = false;
    /// The broker reports at once and not with the next tick.
    bool eagerReports = false;

    bool NobodyGoes() const { return expiries == 0 && stalls == 0 && leavers == 0 && enders == 0; }
};

}  // namespace orvane::plexa::test
