/// The product and the module that a verb is about.
#pragma once

#include <string>

#include "nuocore/Variant.h"

namespace CLI {
class App;
}

namespace orvane::plexa::tool {

struct ModuleOptions {
    std::string mId;
    std::string mProduct;  ///< empty: not given

    /// As the desktop service wants to be asked: "product-sapcode" and "modules", as far as they are given.
    [[nodiscard]] nuocore::serialization::VariantObject AsQuestion() const;
};

/// Adds the position for the module's id, which has to be one that the desktop service takes.
void AddModuleId(CLI::App& ioVerb, ModuleOptions& outOptions, bool inIsRequired);
/// Adds --product; without it the environment counts, and then nothing.
void AddProduct(CLI::App& ioVerb, ModuleOptions& outOptions);
/// Throws `Failure` when no product was named.
void RequireProduct(const ModuleOptions& inOptions);

}  // namespace orvane::plexa::tool
