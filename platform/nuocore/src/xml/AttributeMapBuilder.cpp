#include "AttributeMapBuilder.h"

#include <algorithm>
#include <cstring>

#include "nuocore/StringConversion.h"

namespace nuocore::xml {

const AttributeMap& AttributeMapBuilder::Build(const char* const* inAttributes, std::size_t inCount) {
    AttributeMap& map = mMaps[std::min(inCount, mMaps.size() - 1)];
    if (inCount == 0) {
        return map;
    }
    mOrder.clear();
    for (std::size_t i = 0; i < inCount; ++i) {
        mOrder.emplace_back(inAttributes[2 * i], inAttributes[2 * i + 1]);
    }
    // No character that needs a surrogate pair can stand in a name, so the order of bytes is that of UTF-16
    // units.
    std::sort(mOrder.begin(), mOrder.end(),
              [](const auto& inA, const auto& inB) { return std::strcmp(inA.first, inB.first) < 0; });

    AttributeMap::sequence_type entries = map.extract_sequence();
    entries.resize(inCount);
    for (std::size_t i = 0; i < inCount; ++i) {
        string::AssignUTF8to16(mOrder[i].first, entries[i].first);
        string::AssignUTF8to16(mOrder[i].second, entries[i].second);
    }
    map.adopt_sequence(boost::container::ordered_unique_range, std::move(entries));
    return map;
}

}  // namespace nuocore::xml
