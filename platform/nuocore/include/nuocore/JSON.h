/// JSON text from and into variant values. Any thread; no function keeps state. Numbers are read and written
/// in the classic locale.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "nuocore/Strings.h"
#include "nuocore/Variant.h"
#include "nuocore/export.h"

namespace nuocore::serialization {

/// Why a text is no acceptable JSON; `what()` says what was wrong and at which byte.
class NUOCORE_API JSONError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~JSONError() override;
};

/// Limits of what `ParseJSON` accepts; a breach is a `JSONError`.
struct JSONLimits {
    std::size_t mMaxBytes = std::size_t{64} << 20;  ///< whole text
    std::size_t mMaxDepth = 256;         ///< nested objects and arrays; more than 512 counts as 512
    std::size_t mMaxValues = 4'000'000;  ///< values of all kinds together
};

/// Reads one JSON text (RFC 8259; well-formed UTF-8 without a byte order mark, no comments, no trailing
/// commas, nothing but white space after the value). Strings become `UTF8String`; integers `std::int64_t`,
/// above its range `std::uint64_t`, beyond both and with fraction or exponent the nearest `double`; null an
/// empty value. A number too large for a double is refused, one too small is 0. Of a repeated key the last
/// value counts. Throws `JSONError`.
NUOCORE_API VariantValuePtr ParseJSON(std::string_view inText, const JSONLimits& inLimits = {});

/// Writes a value as JSON; `inPretty` adds line breaks and two blanks of indentation. Strings,
/// `ImmutableString`s and `Guid`s become strings, an empty value and a missing one null. Ill-formed UTF-8 is
/// written with U+FFFD. A double is written with the fewest digits that read back as the same value, and
/// always so that it reads back as a double: 1.0, not 1. Numbers that JSON can't express (NaN, infinities)
/// become null. Throws `JSONError` on a foreign value or more than 512 levels of objects and arrays.
NUOCORE_API UTF8String GetJSONUTF8String(const VariantValue& inValue, bool inPretty);
/// The same in UTF-16.
NUOCORE_API UTF16String GetJSONString(const VariantValue& inValue, bool inPretty);

}  // namespace nuocore::serialization
