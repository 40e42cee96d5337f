/// Interned immutable UTF-8 strings.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>

#include "nuocore/Strings.h"
#include "nuocore/export.h"

namespace nuocore {

namespace detail {
struct InternedText;
}

/// A UTF-8 text that exists once in the process: two objects made from the same bytes share one entry of the
/// intern table, and comparing them compares identity. Cheap to copy and cheap to make again. An entry lives
/// as long as an object refers to it (and a short, bounded while longer), so a flood of different texts does
/// not grow the table for ever. The order of different texts is arbitrary but fixed while both are held.
///
/// A default-constructed object is the null string, which is distinct from the empty text.
/// Thread rule: like a shared pointer; different objects may be used on any threads at once.
class NUOCORE_API ImmutableString {
  public:
    /// The null string.
    constexpr ImmutableString() noexcept = default;
    /// Interns `inText`. Throws `std::bad_alloc`.
    explicit ImmutableString(std::string_view inText);
    /// Interns `inText`. Throws `std::bad_alloc`.
    static ImmutableString Create(std::string_view inText) { return ImmutableString(inText); }

    ImmutableString(const ImmutableString& inOther) noexcept;
    ImmutableString(ImmutableString&& inOther) noexcept : mText(std::exchange(inOther.mText, nullptr)) {}
    ImmutableString& operator=(const ImmutableString& inOther) noexcept;
    ImmutableString& operator=(ImmutableString&& inOther) noexcept {
        std::swap(mText, inOther.mText);
        return *this;
    }
    ~ImmutableString();

    /// How many texts the table of this process holds now, those too that nothing refers to any more. For
    /// diagnostics.
    [[nodiscard]] static std::size_t CountTexts();

    /// Whether this is the null string.
    [[nodiscard]] bool IsNull() const noexcept { return mText == nullptr; }
    /// Whether this is the null string or the empty text.
    [[nodiscard]] bool empty() const noexcept { return View().empty(); }
    /// The bytes; valid as long as an object with this text lives. Empty for the null string.
    [[nodiscard]] std::string_view View() const noexcept;
    /// The bytes with a terminating NUL; "" for the null string.
    [[nodiscard]] const char* CStr() const noexcept;
    /// A copy of the text.
    [[nodiscard]] UTF8String AsUTF8String() const;

    friend bool operator==(const ImmutableString& inA, const ImmutableString& inB) noexcept {
        return inA.mText == inB.mText;
    }
    /// Order by identity, not alphabetical.
    friend bool operator<(const ImmutableString& inA, const ImmutableString& inB) noexcept {
        return std::less<const detail::InternedText*>()(inA.mText, inB.mText);
    }

  private:
    friend struct std::hash<ImmutableString>;
    detail::InternedText* mText = nullptr;
};

}  // namespace nuocore

template <>
struct std::hash<nuocore::ImmutableString> {
    std::size_t operator()(const nuocore::ImmutableString& inText) const noexcept {
        return std::hash<const void*>()(inText.mText);
    }
};
