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

/// The bits that no ASCII text has set, in as many units as fit a word.
template <typename Unit>
constexpr std::uint64_t kBeyondASCII = sizeof(Unit) == 1 ? 0x8080808080808080U : 0xFF80FF80FF80FF80U;

bool IsASCII(char inByte) noexcept { return static_cast<unsigned char>(inByte) < 0x80; }
bool IsASCII(char16_t inUnit) noexcept { return inUnit < 0x80; }

void SetASCII(char inByte, char16_t& outUnit) noexcept { outUnit = static_cast<unsigned char>(inByte); }
void SetASCII(char16_t inUnit, char& outByte) noexcept { outByte = static_cast<char>(inUnit); }

/// Loads a fixed number of units, so that the compiler may use vector instructions; says whether all are
/// ASCII.
template <std::size_t kStep, typename Unit>
bool LoadASCII(const Unit* inText, std::array<Unit, kStep>& outUnits) noexcept {
    std::memcpy(outUnits.data(), inText, sizeof outUnits);
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < sizeof outUnits; i += sizeof bits) {
        std::uint64_t word = 0;
        std::memcpy(&word, outUnits.data() + i / sizeof(Unit), std::min(sizeof word, sizeof outUnits));
        bits |= word;
    }
    return (bits & kBeyondASCII<Unit>) == 0;
}

/// Copies as long as there are `kStep` units of ASCII text.
template <std::size_t kStep, typename From, typename To>
void CopyASCIISteps(const From*& ioText, const From* inEnd, To*& ioOut) noexcept {
    std::array<From, kStep> units;  // NOLINT: loaded before it is read
    while (static_cast<std::size_t>(inEnd - ioText) >= kStep && LoadASCII(ioText, units)) {
        for (std::size_t i = 0; i < kStep; ++i) {
            SetASCII(units[i], ioOut[i]);
        }
        ioText += kStep;
        ioOut += kStep;
    }
}

/// Copies the ASCII text that stands at the front and moves both pointers behind it.
template <typename From, typename To>
void CopyASCII(const From*& ioText, const From* inEnd, To*& ioOut) noexcept {
    CopyASCIISteps<16>(ioText, inEnd, ioOut);
    CopyASCIISteps<4>(ioText, inEnd, ioOut);
    while (ioText != inEnd && IsASCII(*ioText)) {
        SetASCII(*ioText++, *ioOut++);
    }
}

template <typename Unit>
void SkipASCII(const Unit*& ioText, const Unit* inEnd) noexcept {
    std::array<Unit, 8> units;  // NOLINT: loaded before it is read
    while (static_cast<std::size_t>(inEnd - ioText) >= units.size() && LoadASCII(ioText, units)) {
        ioText += units.size();
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

/// Writes at most as many units as there are bytes; returns the end of what it wrote.
char16_t* Widen(const char* inText, const char* inEnd, char16_t* outText) {
    for (;;) {
        CopyASCII(inText, inEnd, outText);
        if (inText == inEnd) {
            return outText;
        }
        const char* next = inText;
        const utf::code_point point = UTF8::decode(next, inEnd);
        if (utf::is_valid_codepoint(point)) {
            outText = UTF16::encode(point, outText);
            inText = next;
        } else {
            *outText++ = kReplacement;
            inText += MaximalSubpart(inText, inEnd);
        }
    }
}

/// Converts until `ioText` has reached `inStop`, looking ahead to `inEnd` for the rest of a pair. Writes at
/// most three bytes for a unit, or four for a pair; returns the end of what it wrote.
char* Narrow(const char16_t*& ioText, const char16_t* inStop, const char16_t* inEnd, char* outText) {
    while (ioText < inStop) {
        CopyASCII(ioText, inStop, outText);
        if (ioText == inStop) {
            break;
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
    }
    return outText;
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
    const char* const text = inText.data();
    const char* const end = text + inText.size();
    // A short text goes by way of the stack: room in a string is filled with zeros before it is written.
    std::array<char16_t, 128> block;      // NOLINT: written before it is read
    if (inText.size() <= block.size()) {  // no text needs more units than bytes
        const char16_t* const last = Widen(text, end, block.data());
        ioText.append(block.data(), static_cast<std::size_t>(last - block.data()));
        return;
    }
    const std::size_t start = ioText.size();
    ioText.resize(start + inText.size());
    const char16_t* const last = Widen(text, end, ioText.data() + start);
    ioText.resize(static_cast<std::size_t>(last - ioText.data()));
}

void AssignUTF8to16(std::string_view inText, UTF16String& outText) {
    outText.clear();
    AppendUTF8to16(inText, outText);
}

UTF16String UTF8to16(std::string_view inText) {
    UTF16String text;
    AppendUTF8to16(inText, text);
    return text;
}

void AppendUTF16to8(std::u16string_view inText, UTF8String& ioText) {
    // By way of a block on the stack, with room for the worst: most texts are ASCII and need a third of it.
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
    AppendUTF16to8(inText, text);
    return text;
}

UTF16String StdToUTF16String(const std::string& inText) { return UTF8to16(inText); }

std::string UTF8ToStdString(const UTF8String& inText) { return std::string(std::string_view(inText)); }

UTF8String StdToUTF8String(std::string_view inText) { return UTF8String(inText); }

bool IsValidUTF8(std::string_view inText) noexcept { return IsValid<UTF8>(inText); }

bool IsValidUTF16(std::u16string_view inText) noexcept { return IsValid<UTF16>(inText); }

}  // namespace nuocore::string
