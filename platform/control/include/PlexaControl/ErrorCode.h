/// Result codes of the control library.
#pragma once

#include <cstdint>

namespace orvane::plexa::api5 {

/// Result of obtaining the controller. 0 alone means success.
enum PlexaControlErrorCode : std::int32_t {
    kPlexaControlErrorCode_None = 0,
    kPlexaControlErrorCode_InvalidParameter = 1,
    kPlexaControlErrorCode_Unknown = 2,
};

}  // namespace orvane::plexa::api5
