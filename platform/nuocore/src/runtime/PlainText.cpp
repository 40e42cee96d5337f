#include "PlainText.h"

namespace nuocore::debug {

namespace {

void AppendHex(unsigned char inByte, std::string& ioLine) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    ioLine += "\\x";
    ioLine += kDigits[inByte >> 4U];
    ioLine += kDigits[inByte & 0xFU];
}

void AppendEscape(char inControl, std::string& ioLine) {
    switch (inControl) {
        case '\n':
            ioLine += "\\n";
            break;
        case '\r':
            ioLine += "\\r";
            break;
        case '\t':
            ioLine += "\\t";
            break;
        default:
            AppendHex(static_cast<unsigned char>(inControl), ioLine);
    }
}

bool IsControl(unsigned char inByte) noexcept { return inByte < 0x20 || inByte == 0x7F; }

// U+0080 to U+009F are C2 80 to C2 9F.
bool StartsC1Control(std::string_view inText) noexcept {
    return inText.size() > 1 && inText[0] == '\xC2' && static_cast<unsigned char>(inText[1]) >= 0x80 &&
           static_cast<unsigned char>(inText[1]) <= 0x9F;
}

}  // namespace

void AppendEscaped(std::string_view inText, std::string& ioLine) {
    ioLine.reserve(ioLine.size() + inText.size());
    for (std::size_t at = 0; at < inText.size(); ++at) {
        if (IsControl(static_cast<unsigned char>(inText[at]))) {
            AppendEscape(inText[at], ioLine);
        } else if (StartsC1Control(inText.substr(at))) {
            AppendHex(static_cast<unsigned char>(inText[at]), ioLine);
            AppendHex(static_cast<unsigned char>(inText[++at]), ioLine);
        } else {
            ioLine += inText[at];
        }
    }
}

std::size_t LineEndLength(std::string_view inText) noexcept {
    if (inText.ends_with("\r\n")) {
        return 2;
    }
    return inText.ends_with('\n') ? 1 : 0;
}

}  // namespace nuocore::debug
