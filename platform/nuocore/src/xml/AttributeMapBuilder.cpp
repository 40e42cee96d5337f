#include "AttributeMapBuilder.h"

#include <algorithm>

#include "nuocore/StringConversion.h"

namespace nuocore::xml {

namespace {

/// Ranks the bytes of UTF-8 so that texts compare as their UTF-16 forms do: what needs a surrogate pair
/// stands before U+E000 and above.
unsigned Rank(char inByte) noexcept {
    const auto byte = static_cast<unsigned char>(inByte);
    return byte == 0xEE || byte == 0xEF ? byte + 0x10U : byte;
}

bool LessInUTF16(const char* inA, const char* inB) noexcept {
    while (*inA == *inB && *inA != '\0') {
        ++inA;
        ++inB;
    }
    return Rank(*inA) < Rank(*inB);
}

}  // namespace

const AttributeMap& AttributeMapBuilder::Build(const char* const* inAttributes, std::size_t inCount) {
    if (inCount == 0) {
        return mNone;
    }
    mOrder.clear();
    for (std::size_t i = 0; i < inCount; ++i) {
        mOrder.emplace_back(inAttributes[2 * i], inAttributes[2 * i + 1]);
    }
    std::sort(mOrder.begin(), mOrder.end(),
              [](const auto& inA, const auto& inB) { return LessInUTF16(inA.first, inB.first); });

    AttributeMap::sequence_type entries = mMap.extract_sequence();
    Resize(entries, inCount);
    for (std::size_t i = 0; i < inCount; ++i) {
        string::AssignUTF8to16(mOrder[i].first, entries[i].first);
        string::AssignUTF8to16(mOrder[i].second, entries[i].second);
    }
    mMap.adopt_sequence(boost::container::ordered_unique_range, std::move(entries));
    return mMap;
}

void AttributeMapBuilder::Resize(AttributeMap::sequence_type& ioEntries, std::size_t inCount) {
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
