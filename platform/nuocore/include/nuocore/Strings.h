/// The string types of the core library. All three (with `ImmutableString`) are distinct types, also inside a
/// variant. A "narrow string" of the messaging library is a `std::string`; a "wide string" is a `UTF16String`
/// of 16-bit units on every system.
#pragma once

#include <sstream>
#include <string>

#include "nuocore/allocator.h"

namespace nuocore {

/// Bytes of UTF-8 text. Nothing checks the bytes: conversions say what they do with broken ones.
using UTF8String = std::basic_string<char, std::char_traits<char>, allocator::STLAllocator<char>>;

/// UTF-16 text in 16-bit units, host byte order.
using UTF16String =
    std::basic_string<char16_t, std::char_traits<char16_t>, allocator::STLAllocator<char16_t>>;

/// The string that carries messages of exceptions.
using StringValue = UTF8String;

/// Output stream into a `UTF8String`. Numbers are formatted in the classic locale, whatever the host's is.
class oUTF8StringStream
    : public std::basic_ostringstream<char, std::char_traits<char>, allocator::STLAllocator<char>> {
  public:
    oUTF8StringStream() { imbue(std::locale::classic()); }

    /// Appends bytes without formatting; the quick way for plain text.
    void Append(const char* inBytes, std::size_t inCount) {
        rdbuf()->sputn(inBytes, static_cast<std::streamsize>(inCount));
    }
    /// Empties the stream.
    void Clear() { str(UTF8String()); }
};

/// Input stream over a `UTF8String`. Numbers are read in the classic locale.
class iUTF8StringStream
    : public std::basic_istringstream<char, std::char_traits<char>, allocator::STLAllocator<char>> {
  public:
    explicit iUTF8StringStream(const UTF8String& inText)
        : std::basic_istringstream<char, std::char_traits<char>, allocator::STLAllocator<char>>(inText) {
        imbue(std::locale::classic());
    }
};

}  // namespace nuocore
