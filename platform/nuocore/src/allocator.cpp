#include "nuocore/allocator.h"

namespace nuocore::allocator {

void* Allocate(std::size_t inBytes) { return ::operator new(inBytes); }

void Free(void* inMemory) noexcept { ::operator delete(inMemory); }

}  // namespace nuocore::allocator
