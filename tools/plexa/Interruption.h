/// Ctrl-C, and waiting that it ends.
#pragma once

#include <chrono>
#include <optional>

namespace orvane::plexa::tool {

using Clock = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>;  ///< nothing: never

/// Catches SIGINT and SIGTERM from its construction on, so that a verb can end in good order. A second
/// signal of the kind ends the process at once. One object a process.
class Interruption {
  public:
    /// Throws `Failure` when the system gives no descriptor.
    Interruption();

    /// Becomes and stays readable at the first signal.
    [[nodiscard]] int Descriptor() const noexcept;
    [[nodiscard]] bool HasCome() const noexcept;

    /// Waits until `inDescriptor` is readable; false when the deadline or an interruption comes first.
    [[nodiscard]] bool Await(int inDescriptor, Deadline inDeadline) const;
};

/// The moment `inSeconds` from now; never, without a value.
Deadline After(std::optional<double> inSeconds);

}  // namespace orvane::plexa::tool
