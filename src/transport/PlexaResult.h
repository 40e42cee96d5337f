/// The message library's result codes in words.
#pragma once

#include "PlexaMessage5/ErrorCode.h"

namespace nuoplexasupport {

/// Text of a result code; empty for the two that mean success.
const char* PlexaResultText(orvane::plexa::api5::PlexaMessageErrorCode inCode) noexcept;

}  // namespace nuoplexasupport
