/// 128-bit unique identifiers.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "nuocore/Strings.h"
#include "nuocore/export.h"

namespace nuocore::utility {

/// A 128-bit identifier. Its text form is lower case, 8-4-4-4-12. Ordered as 16 unsigned bytes.
/// Thread rule: a plain value.
class NUOCORE_API Guid {
  public:
    using Bytes = std::array<std::uint8_t, 16>;

    /// A fresh random identifier (version 4). Throws `std::runtime_error` when the system gives no
    /// randomness.
    Guid();
    explicit constexpr Guid(const Bytes& inBytes) noexcept : mBytes(inBytes) {}

    /// The identifier whose bytes are all 0; it stands for "none".
    static constexpr Guid Null() noexcept { return Guid(Bytes{}); }
    /// Reads the text form: 8-4-4-4-12 hexadecimal digits in either case, nothing around them; anything else
    /// gives nothing.
    static std::optional<Guid> Parse(std::string_view inText) noexcept;

    [[nodiscard]] bool IsNull() const noexcept { return *this == Null(); }
    [[nodiscard]] const Bytes& AsBytes() const noexcept { return mBytes; }
    [[nodiscard]] UTF8String AsUTF8String() const;

    friend auto operator<=>(const Guid& inA, const Guid& inB) noexcept = default;

  private:
    Bytes mBytes;
};

}  // namespace nuocore::utility
