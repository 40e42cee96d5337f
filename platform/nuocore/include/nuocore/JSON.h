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
    std::size_t mMaxDepth = 256;                    ///< nested objects and arrays
    std::size_t mMaxValues = 4'000'000;             ///< values of all kinds together
};

/// Reads one JSON text (RFC 8259; UTF-8, no comments, no trailing commas, nothing after the value). Strings
/// become `UTF8String`; integers `std::int64_t`, above its range `std::uint64_t`, above that and with
/// fraction or exponent `double`; null an empty value. Of a repeated key the last value counts. Throws
/// `JSONError`.
NUOCORE_API VariantValuePtr ParseJSON(std::string_view inText, const JSONLimits& inLimits = {});

/// Writes a value as JSON; `inPretty` adds line breaks and two blanks of indentation. Strings,
/// `ImmutableString`s and `Guid`s become strings, an empty value null. Ill-formed UTF-8 is written with
/// U+FFFD. Numbers that JSON can't express (NaN, infinities) become null. Throws `JSONError` on a foreign
/// value or more than 512 levels.
NUOCORE_API UTF8String GetJSONUTF8String(const VariantValue& inValue, bool inPretty);
/// The same in UTF-16.
NUOCORE_API UTF16String GetJSONString(const VariantValue& inValue, bool inPretty);

}  // namespace nuocore::serialization
