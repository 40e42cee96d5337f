/// The version of the running product, for people and for add-on modules.
#pragma once

#include <string>

#include "nuocore/export.h"

namespace nuocore::versioninfo {

/// The version string of the product configuration (`nuocore::config::ProductConfig`); empty when none is
/// known. Any thread.
[[nodiscard]] NUOCORE_API std::string GetVardoVersionString();

}  // namespace nuocore::versioninfo
