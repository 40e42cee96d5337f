/// Asking a running broker about itself; for tools.
#pragma once

#include <string>

#include "PlexaMessage5/ErrorCode.h"
#include "PlexaMessage5/Export.h"

namespace orvane::plexa::api5 {

/// Asks the broker of this user for its status: a JSON object, described in the wire document. Uses a
/// connection of its own, doesn't start a broker and needs no dispatcher. Waits `inTimeoutMilliseconds` at
/// most. Errors, with a sentence in `outText`: `BrokerProcessDoesNotExist` when no broker answers, `Unknown`
/// when its answer can't be understood or comes too late.
PLEXA_MESSAGE5_API PlexaMessageErrorCode QueryBrokerStatus(int inTimeoutMilliseconds, std::string& outText);

}  // namespace orvane::plexa::api5
