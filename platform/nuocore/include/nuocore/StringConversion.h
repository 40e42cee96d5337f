/// Conversions between the string types. Any thread; no function keeps state.
///
/// Broken input never throws: each ill-formed sequence is replaced by U+FFFD, one replacement for each
/// maximal part of a sequence that could have been well-formed (the practice that Unicode recommends). Use
/// the `IsValid` functions where broken input has to be refused instead.
#pragma once

#include <string>
#include <string_view>

#include "nuocore/Strings.h"
#include "nuocore/export.h"

namespace nuocore::string {

/// UTF-16 to UTF-8. Unpaired surrogates become U+FFFD.
NUOCORE_API UTF8String UTF16to8(std::u16string_view inText);
/// Appends the UTF-8 form of `inText` to `ioText`; saves the temporary of `UTF16to8`.
NUOCORE_API void AppendUTF16to8(std::u16string_view inText, UTF8String& ioText);
/// UTF-8 to UTF-16. Ill-formed bytes, overlong forms and encoded surrogates become U+FFFD.
NUOCORE_API UTF16String UTF8to16(std::string_view inText);
/// Replaces the contents of `outText` by the UTF-16 form of `inText`, keeping its memory.
NUOCORE_API void AssignUTF8to16(std::string_view inText, UTF16String& outText);
/// Appends the UTF-16 form of `inText` to `ioText`.
NUOCORE_API void AppendUTF8to16(std::string_view inText, UTF16String& ioText);
/// Widens a narrow string that holds UTF-8; the same rules as `UTF8to16`.
NUOCORE_API UTF16String StdToUTF16String(const std::string& inText);
/// A narrow string with the bytes of `inText`.
NUOCORE_API std::string UTF8ToStdString(const UTF8String& inText);
/// A UTF-8 string with the bytes of `inText`.
NUOCORE_API UTF8String StdToUTF8String(std::string_view inText);

/// Whether `inText` is well-formed UTF-8.
NUOCORE_API bool IsValidUTF8(std::string_view inText) noexcept;
/// Whether `inText` is well-formed UTF-16.
NUOCORE_API bool IsValidUTF16(std::u16string_view inText) noexcept;

}  // namespace nuocore::string
