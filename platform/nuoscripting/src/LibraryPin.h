/// Keeping libraries loaded.
#pragma once

#include <memory>

namespace nuoscripting::detail {

/// While it is held, the library in whose data `inAddress` stands stays loaded. Null when the address stands
/// in none (on the heap), or in the program itself.
std::shared_ptr<void> PinLibraryOf(const void* inAddress);

}  // namespace nuoscripting::detail
