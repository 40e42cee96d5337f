#include <cstdlib>

#include "Environment.h"

namespace nuocore::environment {

std::string GetVariable(const char* inName) {
    // Reading is safe as long as the host doesn't change its environment while other threads run, which no
    // lock of ours could make safe.
    const char* const value = std::getenv(inName);  // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? std::string(value) : std::string();
}

}  // namespace nuocore::environment
