/// Answers to questions about modules. No I/O.
#pragma once

#include <string>
#include <vector>

#include "bus/Payload.h"
#include "common/Failure.h"
#include "install/ModuleStore.h"
#include "nuocore/Variant.h"

namespace orvane::plexa::zarnd {

/// What the bus takes as one payload.
inline constexpr std::size_t kMaxPayloadBytes = std::size_t{1} << 20U;

/// An answer's payload: a JSON object with the question's id under the key under which it came, "result"
/// ("done" or "error"), and what there is to say. One that the bus would not take becomes an error.
std::string WriteAnswer(const RequestId& inId, nuocore::serialization::VariantObject inContent);
std::string WriteRefusal(const RequestId& inId, ErrorCode inCode, const std::string& inSentence);

/// A module in a list.
struct ListedModule {
    std::string mProduct;
    std::string mModule;
    std::string mInstalledVersion;  ///< empty: not installed
    std::string mOfferedVersion;    ///< empty: not in the catalogue
    std::string mState;             ///< "installed", "outdated" or "available"
    std::uint64_t mSize = 0;        ///< of its files, or of the archive while it isn't installed
    std::string mFolder;            ///< of its files; empty while it isn't installed
};
nuocore::serialization::VariantObject ListContent(const std::vector<ListedModule>& inModules);

/// A module that has been checked.
struct CheckedModule {
    std::string mProduct;
    std::string mModule;
    std::string mVersion;
    std::vector<Damage> mDamages;
};
nuocore::serialization::VariantObject CheckContent(const std::vector<CheckedModule>& inModules);

}  // namespace orvane::plexa::zarnd
