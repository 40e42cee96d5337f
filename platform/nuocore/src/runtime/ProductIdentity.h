// The product configuration with its fallbacks applied.
#pragma once

#include "nuocore/Config.h"

namespace nuocore::config {

/// What the host has set, completed from the environment, which is read once. Any thread.
ProductConfig GetProductIdentity();

}  // namespace nuocore::config
