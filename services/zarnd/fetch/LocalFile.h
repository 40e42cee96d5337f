/// Archives that lie on this machine.
#pragma once

#include <cstdint>
#include <stop_token>
#include <string>

#include "fetch/Fetch.h"

namespace orvane::plexa::zarnd {

/// Brings a regular file, named by a file: address, to the sink. Throws `Failure`, `Cancelled`, or what the
/// sink throws.
void ReadLocalFile(const std::string& inAddress, std::uint64_t inSize, IByteSink& ioSink,
                   const std::stop_token& inStop);

}  // namespace orvane::plexa::zarnd
