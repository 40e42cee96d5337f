/// Which of the processes that had an id one after another.
#pragma once

#include <cstdint>
#include <functional>

namespace orvane::plexa::zarnd {

/// When a running process started, in the system's own measure; 0 when there is no such process.
using StartOfProcess = std::function<std::uint64_t(std::int32_t)>;

/// By the kernel's account.
std::uint64_t StartOfSystemProcess(std::int32_t inProcessId);

}  // namespace orvane::plexa::zarnd
