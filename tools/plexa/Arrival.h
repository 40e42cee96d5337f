/// What arrived, and how it is shown. No I/O.
#pragma once

#include <string>

#include "nuocore/Strings.h"
#include "nuocore/Variant.h"

namespace orvane::plexa::tool {

struct Arrival {
    enum class Kind {
        kDictionary,    ///< a payload that is a dictionary, without request ids
        kRaw,           ///< any other payload, as it was received
        kNotification,  ///< a push notification; type and sub-type are its own
    };
    Kind mKind;
    std::string mType;
    std::string mSubType;
    std::string mSender;  ///< app id; known for raw payloads only
    nuocore::UTF8String mText;
    nuocore::serialization::VariantObject mDictionary;
};

/// One JSON object: "type", and "payload" (dictionary), or "raw" and "sender"; a notification has
/// "notification" and "sub-type" in place of "type".
std::string AsJSON(const Arrival& inArrival);

/// One line for people; `inType` is the type as it is to be shown.
std::string AsText(const Arrival& inArrival, const std::string& inType);

}  // namespace orvane::plexa::tool
