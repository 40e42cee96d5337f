/// Turns expat's attributes into an attribute map without taking memory for each element.
#pragma once

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
    void Resize(AttributeMap::sequence_type& ioEntries, std::size_t inCount);

    AttributeMap mMap;
    AttributeMap::sequence_type mSpare;  ///< entries not in use, for the memory of their strings
    std::vector<std::pair<const char*, const char*>> mOrder;
    const AttributeMap mNone;
};

}  // namespace nuocore::xml
