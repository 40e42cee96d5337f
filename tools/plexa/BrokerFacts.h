/// Looking things up in what a broker tells of itself. It may be older or newer than this tool: every fact
/// may be missing, or be of another kind.
#pragma once

#include "nuocore/Variant.h"

namespace orvane::plexa::tool {

/// The fact under a key; null when there is none of that kind. Lives as long as `inFacts`.
template <typename T>
const T* FindFact(const nuocore::serialization::VariantObject& inFacts, const char* inKey) {
    const auto found = inFacts.find(inKey);
    return found == inFacts.end() ? nullptr : boost::any_cast<T>(found->second.get());
}

}  // namespace orvane::plexa::tool
