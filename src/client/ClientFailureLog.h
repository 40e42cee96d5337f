/// What clients throw in their receive operations.
#pragma once

#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// Writes the exception being handled to the log; call it in a handler only. Of a flood it leaves records
/// out, and the next one's field "leftOutBefore" says how many. `inFunction` is the qualified name of the
/// function that called the client. Any thread.
void LogClientFailure(const ImmutableString& inMessageType, const char* inFunction) noexcept;

}  // namespace nuoplexasupport
