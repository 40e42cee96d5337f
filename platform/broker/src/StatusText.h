/// The answer to a status request. No I/O.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "Switchboard.h"

namespace orvane::plexa::broker {

struct StatusFacts {
    std::string runtimeDirectory;
    std::uint32_t processId = 0;
    std::chrono::seconds uptime{0};
    ConnectionTotals connections;
    wire::Limits limits;
    BrokerStatus core;
};

/// One JSON object. With very many members the list is cut short, so that the text fits one frame;
/// "members_total" counts them all.
std::string StatusText(const StatusFacts& inFacts, std::size_t inMaxBytes);

}  // namespace orvane::plexa::broker
