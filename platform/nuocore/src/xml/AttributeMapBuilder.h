/// Turns expat's attributes into an attribute map without taking memory for each element.
#pragma once

#include <vector>

#include "nuocore/XML.h"

namespace nuocore::xml {

class AttributeMapBuilder {
  public:
    /// The map of names and values that stand in turn in `inAttributes`, which a null pointer ends and in
    /// which no name stands twice. Valid until the next call.
    const AttributeMap& Build(const char* const* inAttributes);

  private:
    using Entries = AttributeMap::sequence_type;

    void Resize(Entries& ioEntries, std::size_t inCount);

    AttributeMap mMap;
    Entries mSpare;  ///< entries not in use, for the memory of their strings
    const AttributeMap mNone;
};

}  // namespace nuocore::xml
