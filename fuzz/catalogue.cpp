// Catalogues of modules: either refused with a place, or sound: every module can be put in order with what it
// needs.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "catalogue/Catalogue.h"

using namespace orvane::plexa::zarnd;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize);

int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize) {
    Catalogue catalogue;
    try {
        catalogue = ParseCatalogue({reinterpret_cast<const char*>(inData), inSize}, "QRTX");
    } catch (const CatalogueError&) {
        return 0;
    }
    for (const auto& [id, module] : catalogue.mModules) {
        const auto order = InstallOrder(catalogue, id);
        if (module.mId != id || order.back() != &catalogue.mModules.at(id) || module.mSize == 0 ||
            module.mSha256.size() != 64) {
            std::abort();
        }
    }
    return 0;
}
