/// Virtual operations called by their places, which are part of the binary interface of the platform's
/// libraries.
#pragma once

#include <cstddef>

namespace support {

/// Calls an operation by its place in the table, as a library built by another compiler does.
template <typename Result, typename Interface, typename... Arguments>
Result CallSlot(Interface& ioObject, std::size_t inSlot, Arguments... inArguments) {
    void** const table = *reinterpret_cast<void***>(&ioObject);
    return reinterpret_cast<Result (*)(Interface*, Arguments...)>(table[inSlot])(&ioObject, inArguments...);
}

}  // namespace support
