/// Turns expat's attributes into an attribute map without taking memory for each element.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "nuocore/XML.h"

namespace nuocore::xml {

class AttributeMapBuilder {
  public:
    /// The map of `inCount` names and values, which stand in turn in `inAttributes`; no name stands twice.
    /// Valid until the next call.
    const AttributeMap& Build(const char* const* inAttributes, std::size_t inCount);

  private:
    struct Name {
        std::string mText;
        std::size_t mAttribute;  ///< the name's place in `inAttributes`; its value stands behind it
    };
    /// What the last element with so many attributes had. The next one mostly has the same names in the same
    /// order, and only its values differ.
    struct Last {
        std::vector<Name> mNames;  ///< in the order of the map
        AttributeMap mMap;
    };

    static bool HasNames(const Last& inLast, const char* const* inAttributes, std::size_t inCount);
    static void SetNames(Last& outLast, const char* const* inAttributes, std::size_t inCount);

    /// By number of attributes; the last one for all greater numbers.
    std::array<Last, 9> mLast;
};

}  // namespace nuocore::xml
