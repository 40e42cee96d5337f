/// What the host's own code throws where nobody could take it.
#pragma once

#include "nuoscripting/export.h"

namespace nuoscripting::detail {

/// Writes the exception that is being handled to the log, with what threw it; many of them in part only.
NUOSCRIPTING_API void LogHostFailure(const char* inWhat) noexcept;

}  // namespace nuoscripting::detail
