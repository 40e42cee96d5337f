/// Turns expat's attributes into an attribute map without taking memory for each element.
#pragma once

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "nuocore/XML.h"

namespace nuocore::xml {

class AttributeMapBuilder {
  public:
    /// The map of `inCount` names and values, which stand in turn in `inAttributes`; no name stands twice.
    /// Valid until the next call.
    const AttributeMap& Build(const char* const* inAttributes, std::size_t inCount);

  private:
    /// By number of attributes, so that a map's strings keep their memory; the last one for all greater
    /// numbers.
    std::array<AttributeMap, 9> mMaps;
    std::vector<std::pair<const char*, const char*>> mOrder;
};

}  // namespace nuocore::xml
