/// The string types of the core library. All three (with `ImmutableString`) are distinct types, also inside a
/// variant. A "narrow string" of the messaging library is a `std::string`; a "wide string" is a `UTF16String`
/// of 16-bit units on every system.
#pragma once

#include <locale>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>

#include "nuocore/allocator.h"
#include "nuocore/export.h"

namespace nuocore {

/// Bytes of UTF-8 text. Nothing checks the bytes: conversions say what they do with broken ones.
using UTF8String = std::basic_string<char, std::char_traits<char>, allocator::STLAllocator<char>>;

/// UTF-16 text in 16-bit units, host byte order.
using UTF16String =
    std::basic_string<char16_t, std::char_traits<char16_t>, allocator::STLAllocator<char16_t>>;

/// The string that carries messages of exceptions.
using StringValue = UTF8String;

namespace detail {
/// The buffer of `oUTF8StringStream`: everything goes straight to the end of the text.
class NUOCORE_API UTF8StringBuffer final : public std::streambuf {
  public:
    UTF8StringBuffer() = default;
    UTF8StringBuffer(const UTF8StringBuffer&) = delete;
    UTF8StringBuffer& operator=(const UTF8StringBuffer&) = delete;
    ~UTF8StringBuffer() override;

    UTF8String mText;

  protected:
    std::streamsize xsputn(const char* inBytes, std::streamsize inCount) override;
    int_type overflow(int_type inByte) override;
};
}  // namespace detail

/// Output stream into a `UTF8String`. Numbers are formatted in the classic locale, whatever the host's is.
class oUTF8StringStream : public std::ostream {
  public:
    oUTF8StringStream() : std::ostream(nullptr) {
        rdbuf(&mBuffer);
        if (getloc() != std::locale::classic()) {  // changing it costs more than asking
            imbue(std::locale::classic());
        }
    }

    /// Appends bytes without formatting; the quick way for plain text.
    void Append(const char* inBytes, std::size_t inCount) { mBuffer.mText.append(inBytes, inCount); }
    /// The text so far; valid until the next change.
    [[nodiscard]] std::string_view view() const noexcept { return mBuffer.mText; }
    /// The text so far; valid until the next change.
    [[nodiscard]] const UTF8String& str() const& noexcept { return mBuffer.mText; }
    /// Takes the text out of a stream that isn't used any more.
    [[nodiscard]] UTF8String str() && noexcept { return std::move(mBuffer.mText); }
    /// Replaces the text; what is written next stands behind it.
    void str(UTF8String inText) noexcept { mBuffer.mText = std::move(inText); }
    /// Empties the stream, keeping its memory.
    void Clear() noexcept { mBuffer.mText.clear(); }

  private:
    detail::UTF8StringBuffer mBuffer;
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
