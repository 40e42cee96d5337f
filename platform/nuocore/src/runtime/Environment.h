// The process's environment, one file per system.
#pragma once

#include <string>

namespace nuocore::environment {

/// The value of a variable as UTF-8; empty when it isn't set. Throws `std::bad_alloc`.
std::string GetVariable(const char* inName);

}  // namespace nuocore::environment
