// Text made fit for a line of the log or the trace.
#pragma once

#include <string>
#include <string_view>

namespace nuocore::debug {

/// Appends `inText` with control characters escaped ("\n", "\r", "\t", else "\xHH" for each byte), so that
/// text from outside can neither fake a line nor steer a terminal. Controls are those below U+0020, U+007F
/// and, encoded in UTF-8, U+0080 to U+009F.
void AppendEscaped(std::string_view inText, std::string& ioLine);

/// The length of the line end ("\r\n", "\n" or none) that `inText` closes with.
std::size_t LineEndLength(std::string_view inText) noexcept;

}  // namespace nuocore::debug
