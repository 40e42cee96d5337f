/// What counts of a response's header lines. No I/O.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::plexa::zarnd {

/// Fed with the lines as they come, those of redirections included: a status line begins anew.
class ResponseHead {
  public:
    void Line(std::string_view inLine);

    /// What the server calls this very content: a strong entity tag, else the date of its last change; empty
    /// when it says neither. A range may be asked for with nothing less.
    [[nodiscard]] const std::string& Validator() const noexcept {
        return mEntityTag.empty() ? mLastModified : mEntityTag;
    }
    /// Whether a partial answer is of the content that has this validator. A tag must be said again; a date
    /// need not be, to who has asked for a part of that date's content.
    [[nodiscard]] bool MayBeOf(const std::string& inValidator) const noexcept {
        if (inValidator.starts_with('"')) return mEntityTag == inValidator;
        return mLastModified.empty() || mLastModified == inValidator;
    }
    /// Where the content of a partial answer begins, and the size of the whole, if it says so.
    [[nodiscard]] std::optional<std::uint64_t> RangeBegin() const noexcept { return mRangeBegin; }
    [[nodiscard]] std::optional<std::uint64_t> WholeSize() const noexcept { return mWholeSize; }

  private:
    void ContentRange(std::string_view inValue);

    std::string mEntityTag;
    std::string mLastModified;
    std::optional<std::uint64_t> mRangeBegin;
    std::optional<std::uint64_t> mWholeSize;
};

}  // namespace orvane::plexa::zarnd
