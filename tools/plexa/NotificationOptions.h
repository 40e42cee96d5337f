/// The kind of notifications that a verb is about.
#pragma once

#include <string>

#include "nuocore/Variant.h"

namespace CLI {
class App;
}

namespace orvane::plexa::tool {

struct NotificationKind {
    std::string mType;
    std::string mSubType;

    /// As the desktop service wants to be told of it: "type" and "sub-type".
    [[nodiscard]] nuocore::serialization::VariantObject AsObject() const;
};

/// Adds the positions TYPE and SUBTYPE. The first may not be empty.
void AddNotificationKind(CLI::App& ioVerb, NotificationKind& outKind);

}  // namespace orvane::plexa::tool
