/// Whether what modules need is there, and in no circle.
#pragma once

#include "catalogue/Catalogue.h"

namespace orvane::plexa::zarnd {

/// Throws `CatalogueError` that names a module which is needed and unknown, or the modules that need each
/// other.
void CheckNeeds(const Catalogue& inCatalogue);

}  // namespace orvane::plexa::zarnd
