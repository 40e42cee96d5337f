#include "nuocore/StringConversion.h"

#include <algorithm>
#include <array>
#include <boost/locale/utf.hpp>
#include <cstdint>
#include <cstring>

namespace nuocore::string {

namespace {

namespace utf = boost::locale::utf;
using UTF8 = utf::utf_traits<char>;
using UTF16 = utf::utf_traits<char16_t>;

constexpr char16_t kReplacement = 0xFFFD;
constexpr std::string_view kReplacementUTF8 = "\xEF\xBF\xBD";

constexpr std::size_t kASCIIStep = 8;

bool IsASCIIStep(const char* inText) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, inText, sizeof word);
    return (word & 0x8080808080808080U) == 0;
}

bool IsASCIIStep(const char16_t* inText) noexcept {
    std::array<std::uint64_t, 2> words{};
    std::memcpy(words.data(), inText, sizeof words);
    return ((words[0] | words[1]) & 0xFF80FF80FF80FF80U) == 0;
}

bool IsASCII(char inByte) noexcept { return static_cast<unsigned char>(inByte) < 0x80; }
bool IsASCII(char16_t inUnit) noexcept { return inUnit < 0x80; }

char16_t ASCIITo(char16_t /*inTag*/, char inByte) noexcept { return static_cast<unsigned char>(inByte); }
char ASCIITo(char /*inTag*/, char16_t inUnit) noexcept { return static_cast<char>(inUnit); }

/// Copies the ASCII text that stands at the front and moves both pointers behind it. Steps of a fixed size,
/// so that the compiler turns them into vector instructions.
template <typename From, typename To>
void CopyASCII(const From*& ioText, const From* inEnd, To*& ioOut) noexcept {
    while (static_cast<std::size_t>(inEnd - ioText) >= kASCIIStep && IsASCIIStep(ioText)) {
        for (std::size_t i = 0; i < kASCIIStep; ++i) {
            ioOut[i] = ASCIITo(To(), ioText[i]);
        }
        ioText += kASCIIStep;
        ioOut += kASCIIStep;
    }
    while (ioText != inEnd && IsASCII(*ioText)) {
        *ioOut++ = ASCIITo(To(), *ioText++);
    }
}

template <typename Unit>
void SkipASCII(const Unit*& ioText, const Unit* inEnd) noexcept {
    while (static_cast<std::size_t>(inEnd - ioText) >= kASCIIStep && IsASCIIStep(ioText)) {
        ioText += kASCIIStep;
    }
    while (ioText != inEnd && IsASCII(*ioText)) {
        ++ioText;
    }
}

/// How many bytes at the front of an ill-formed text one replacement stands for: the longest part that could
/// have been the beginning of a well-formed sequence, at least one byte.
std::ptrdiff_t MaximalSubpart(const char* inText, const char* inEnd) noexcept {
    const auto byteAt = [inText](std::ptrdiff_t inIndex) {
        return static_cast<unsigned char>(inText[inIndex]);
    };
    const unsigned lead = byteAt(0);
    if (lead < 0xC2 || lead > 0xF4) {
        return 1;
    }
    const std::ptrdiff_t wanted = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const std::ptrdiff_t available = std::min<std::ptrdiff_t>(wanted, inEnd - inText);
    // The second byte's range is narrower behind these leads: no overlong forms, surrogates or values too
    // great.
    const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (available < 2 || byteAt(1) < low || byteAt(1) > high) {
        return 1;
    }
    std::ptrdiff_t length = 2;
    while (length < available && (byteAt(length) & 0xC0U) == 0x80) {
        ++length;
    }
    return length;
}

/// Converts until `ioText` has reached `inStop`, looking ahead to `inEnd` for the rest of a sequence. Writes
/// at most as many units as it takes bytes.
char16_t* Widen(const char*& ioText, const char* inStop, const char* inEnd, char16_t* outText) {
    for (;;) {
        CopyASCII(ioText, inStop, outText);
        if (ioText >= inStop) {
            return outText;
        }
        const char* next = ioText;
        const utf::code_point point = UTF8::decode(next, inEnd);
        if (utf::is_valid_codepoint(point)) {
            outText = UTF16::encode(point, outText);
            ioText = next;
        } else {
            *outText++ = kReplacement;
            ioText += MaximalSubpart(ioText, inEnd);
        }
        if (ioText >= inStop) {
            return outText;
        }
    }
}

/// The same the other way. Writes at most three bytes for a unit, or four for a pair.
char* Narrow(const char16_t*& ioText, const char16_t* inStop, const char16_t* inEnd, char* outText) {
    for (;;) {
        CopyASCII(ioText, inStop, outText);
        if (ioText >= inStop) {
            return outText;
        }
        const char16_t* next = ioText;
        const utf::code_point point = UTF16::decode(next, inEnd);
        if (utf::is_valid_codepoint(point)) {
            outText = UTF8::encode(point, outText);
            ioText = next;
        } else {
            outText = std::copy(kReplacementUTF8.begin(), kReplacementUTF8.end(), outText);
            ++ioText;
        }
        if (ioText >= inStop) {
            return outText;
        }
    }
}

template <typename Traits, typename Unit>
bool IsValid(std::basic_string_view<Unit> inText) noexcept {
    const Unit* text = inText.data();
    const Unit* const end = text + inText.size();
    for (;;) {
        SkipASCII(text, end);
        if (text == end) {
            return true;
        }
        if (!utf::is_valid_codepoint(Traits::decode(text, end))) {
            return false;
        }
    }
}

}  // namespace

void AppendUTF8to16(std::string_view inText, UTF16String& ioText) {
    // By way of a block on the stack: a string can only grow by zeros or by a copy, and short texts are the
    // rule.
    constexpr std::ptrdiff_t kBlock = 256;
    std::array<char16_t, kBlock + UTF8::max_width> block;  // NOLINT: written before it is read
    const char* text = inText.data();
    const char* const end = text + inText.size();
    while (text != end) {
        const char16_t* const last = Widen(text, text + std::min(kBlock, end - text), end, block.data());
        ioText.append(block.data(), static_cast<std::size_t>(last - block.data()));
    }
}

void AssignUTF8to16(std::string_view inText, UTF16String& outText) {
    outText.clear();
    AppendUTF8to16(inText, outText);
}

UTF16String UTF8to16(std::string_view inText) {
    UTF16String text;
    text.reserve(inText.size());
    AppendUTF8to16(inText, text);
    return text;
}

void AppendUTF16to8(std::u16string_view inText, UTF8String& ioText) {
    constexpr std::ptrdiff_t kBlock = 128;
    std::array<char, 3 * kBlock + UTF8::max_width> block;  // NOLINT: written before it is read
    const char16_t* text = inText.data();
    const char16_t* const end = text + inText.size();
    while (text != end) {
        const char* const last = Narrow(text, text + std::min(kBlock, end - text), end, block.data());
        ioText.append(block.data(), static_cast<std::size_t>(last - block.data()));
    }
}

UTF8String UTF16to8(std::u16string_view inText) {
    UTF8String text;
    text.reserve(inText.size());
    AppendUTF16to8(inText, text);
    return text;
}

UTF16String StdToUTF16String(const std::string& inText) { return UTF8to16(inText); }

std::string UTF8ToStdString(const UTF8String& inText) { return std::string(std::string_view(inText)); }

UTF8String StdToUTF8String(std::string_view inText) { return UTF8String(inText); }

bool IsValidUTF8(std::string_view inText) noexcept { return IsValid<UTF8>(inText); }

bool IsValidUTF16(std::u16string_view inText) noexcept { return IsValid<UTF16>(inText); }

}  // namespace nuocore::string
