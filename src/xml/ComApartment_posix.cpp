#include "xml/ComApartment.h"

namespace nuoplexasupport {

namespace {

// There are no apartments here: nothing is joined, so nothing is ever undone.
constexpr std::int32_t kNotImplemented = static_cast<std::int32_t>(0x80004001U);

std::int32_t Initialize(void* /*inReserved*/, std::uint32_t /*inConcurrencyModel*/) {
    return kNotImplemented;
}
void Uninitialize() {}

}  // namespace

const ComApartment& SystemComApartment() noexcept {
    static constexpr ComApartment kApartment{&Initialize, &Uninitialize};
    return kApartment;
}

}  // namespace nuoplexasupport
