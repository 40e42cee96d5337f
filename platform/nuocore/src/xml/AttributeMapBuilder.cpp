#include "AttributeMapBuilder.h"

#include <algorithm>
#include <utility>

#include "nuocore/StringConversion.h"

namespace nuocore::xml {

const AttributeMap& AttributeMapBuilder::Build(const char* const* inAttributes) {
    std::size_t count = 0;
    while (inAttributes[2 * count] != nullptr) {
        ++count;
    }
    if (count == 0) {
        return mNone;
    }
    Entries entries = mMap.extract_sequence();
    Resize(entries, count);
    for (std::size_t i = 0; i < count; ++i) {
        string::AssignUTF8to16(inAttributes[2 * i], entries[i].first);
        string::AssignUTF8to16(inAttributes[2 * i + 1], entries[i].second);
    }
    const auto byName = [](const auto& inA, const auto& inB) { return inA.first < inB.first; };
    if (!std::is_sorted(entries.begin(), entries.end(), byName)) {
        std::sort(entries.begin(), entries.end(), byName);
    }
    mMap.adopt_sequence(boost::container::ordered_unique_range, std::move(entries));
    return mMap;
}

void AttributeMapBuilder::Resize(Entries& ioEntries, std::size_t inCount) {
    while (ioEntries.size() > inCount) {
        mSpare.push_back(std::move(ioEntries.back()));
        ioEntries.pop_back();
    }
    while (ioEntries.size() < inCount && !mSpare.empty()) {
        ioEntries.push_back(std::move(mSpare.back()));
        mSpare.pop_back();
    }
    ioEntries.resize(inCount);
}

}  // namespace nuocore::xml
