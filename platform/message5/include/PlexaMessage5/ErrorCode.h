/// Result codes of the message library.
#pragma once

#include <cstdint>

namespace orvane::plexa::api5 {

/// Result of an operation of the message library. 0 and 1 both mean success.
enum PlexaMessageErrorCode : std::int32_t {
    kPlexaMessageErrorCode_None = 0,
    kPlexaMessageErrorCode_AlreadyDone = 1,  ///< success: what was asked for was in place already
    kPlexaMessageErrorCode_NotConfigured = 2,
    kPlexaMessageErrorCode_InvalidParameter = 3,
    kPlexaMessageErrorCode_BrokerUpdateInProgress = 4,
    kPlexaMessageErrorCode_BrokerProcessDoesNotExist = 5,
    kPlexaMessageErrorCode_BrokerFileDoesNotExist = 6,
    kPlexaMessageErrorCode_Unknown = 7,
};

}  // namespace orvane::plexa::api5
