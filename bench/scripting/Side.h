/// The two sides of the comparison: an object "o" in a context, with the methods "nothing", "number" and
/// "text".
#pragma once

#include <memory>
#include <string>

namespace bench {

class Side {
  public:
    Side() = default;
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;
    virtual ~Side() = default;
    /// The number that a script ends with.
    virtual double Run(const std::string& inScript) = 0;
};

/// Functions as a host writes them that uses the engine's C interface and nothing else.
std::unique_ptr<Side> MakeBare();
/// A class of this library; with limits or without.
std::unique_ptr<Side> MakeHost(bool inWithLimits);

}  // namespace bench
