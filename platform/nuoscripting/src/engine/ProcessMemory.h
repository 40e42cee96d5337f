/// What the whole process has in use.
#pragma once

#include <cstddef>

namespace nuoscripting::engine {

/// Bytes of memory that the process occupies; 0 when the system doesn't tell.
[[nodiscard]] std::size_t ResidentMemory() noexcept;

}  // namespace nuoscripting::engine
