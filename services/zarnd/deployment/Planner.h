/// What has to be done for a request.
#pragma once

#include "catalogue/CatalogueFolders.h"
#include "deployment/InstalledDigests.h"
#include "deployment/Types.h"

namespace orvane::plexa::zarnd {

/// The modules that a request asks for, from the product's catalogue. What is installed as the catalogue says
/// weighs nothing so far; whether it is intact is left to the work. Throws `Failure`.
Plan MakePlan(const ModuleKey& inKey, const std::string& inVersion, const CatalogueFolders& inCatalogues,
              InstalledDigests& ioInstalled);

}  // namespace orvane::plexa::zarnd
