#include "AttributeMapBuilder.h"

#include <algorithm>
#include <utility>

#include "nuocore/StringConversion.h"

namespace nuocore::xml {

const AttributeMap& AttributeMapBuilder::Build(const char* const* inAttributes, std::size_t inCount) {
    Last& last = mLast[std::min(inCount, mLast.size() - 1)];
    if (!HasNames(last, inAttributes, inCount)) {
        SetNames(last, inAttributes, inCount);
    }
    auto entry = last.mMap.begin();
    for (const Name& name : last.mNames) {
        string::AssignUTF8to16(inAttributes[name.mAttribute + 1], (entry++)->second);
    }
    return last.mMap;
}

bool AttributeMapBuilder::HasNames(const Last& inLast, const char* const* inAttributes, std::size_t inCount) {
    return inLast.mNames.size() == inCount &&
           std::all_of(inLast.mNames.begin(), inLast.mNames.end(),
                       [&](const Name& inName) { return inName.mText == inAttributes[inName.mAttribute]; });
}

void AttributeMapBuilder::SetNames(Last& outLast, const char* const* inAttributes, std::size_t inCount) {
    outLast.mNames.clear();  // until all is done, so that a failure leaves nothing half done behind
    std::vector<Name> names;
    names.reserve(inCount);
    for (std::size_t i = 0; i < inCount; ++i) {
        names.push_back({inAttributes[2 * i], 2 * i});
    }
    // No character that needs a surrogate pair can stand in a name, so the order of bytes is that of UTF-16
    // units.
    std::sort(names.begin(), names.end(),
              [](const Name& inA, const Name& inB) { return inA.mText < inB.mText; });

    AttributeMap::sequence_type entries = outLast.mMap.extract_sequence();
    entries.resize(inCount);
    for (std::size_t i = 0; i < inCount; ++i) {
        string::AssignUTF8to16(names[i].mText, entries[i].first);
    }
    outLast.mMap.adopt_sequence(boost::container::ordered_unique_range, std::move(entries));
    outLast.mNames = std::move(names);
}

}  // namespace nuocore::xml
