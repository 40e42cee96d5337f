/// Payloads of the bus are text without NUL; the harness sends bytes: a binary number in front and a check
/// byte at the end.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// Writes a harness message as text: number and check byte in bytes that are never 0, the rest as it is.
void EncodeMessage(const void* inData, std::size_t inSize, std::string& outText);
/// The reverse. False when the text is none that `EncodeMessage` wrote.
bool DecodeMessage(const char* inText, std::size_t inSize, std::vector<unsigned char>& outMessage);

}  // namespace bench
