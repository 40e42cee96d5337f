/// The standard output, written line by line.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace orvane::plexa::tool {

/// Nobody reads the output any more: a reason to end, not an error.
class ReaderGone : public std::runtime_error {
  public:
    ReaderGone() : std::runtime_error("nobody reads the output any more") {}
};

/// Writes at once, nothing is held back. A slow reader holds the writer up, until the process is interrupted.
/// One thread at a time.
class Output {
  public:
    /// With a descriptor in `inInterruption` (see `Interruption`) a write that waits for its reader ends when
    /// that becomes readable; the rest of the text is dropped.
    explicit Output(int inInterruption = -1);

    /// Throws `ReaderGone`, or `Failure` when the text can't be written (a full disk).
    void Write(std::string_view inText);
    /// The same with a line end behind it.
    void Line(std::string_view inText);

    /// Highlights a text, if the output is a terminal that is to be coloured.
    [[nodiscard]] std::string Strong(std::string_view inText) const;

  private:
    int mInterruption;
    bool mColours;
};

}  // namespace orvane::plexa::tool
