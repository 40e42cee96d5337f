#include <objbase.h>

#include "xml/ComApartment.h"

namespace nuoplexasupport {

namespace {

std::int32_t Initialize(void* inReserved, std::uint32_t inConcurrencyModel) {
    return static_cast<std::int32_t>(CoInitializeEx(inReserved, inConcurrencyModel));
}
void Uninitialize() { CoUninitialize(); }

}  // namespace

const ComApartment& SystemComApartment() noexcept {
    static constexpr ComApartment kApartment{&Initialize, &Uninitialize};
    return kApartment;
}

}  // namespace nuoplexasupport
