/// Numbers in texts. Any thread; no function keeps state.
#pragma once

#include "nuocore/Strings.h"
#include "nuocore/export.h"

namespace nuocore::string {

/// The number that a text begins with, as the C function `strtod` reads it in the classic locale, whatever
/// the process's is: white space before it is skipped, what follows it is ignored. 0 when there is none, an
/// infinity when it is too large for a double.
[[nodiscard]] NUOCORE_API double ToDouble(const UTF8String& inText) noexcept;

}  // namespace nuocore::string
