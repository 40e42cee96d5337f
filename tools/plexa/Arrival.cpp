#include "Arrival.h"

#include <string_view>

#include "PayloadText.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

auto Text(std::string_view inText) { return MakeValue(UTF8String(inText)); }

}  // namespace

std::string AsJSON(const Arrival& inArrival) {
    VariantObject line;
    switch (inArrival.mKind) {
        case Arrival::Kind::kDictionary:
            line["type"] = Text(inArrival.mType);
            line["payload"] = MakeValue(inArrival.mDictionary);
            break;
        case Arrival::Kind::kRaw:
            line["type"] = Text(inArrival.mType);
            line["raw"] = Text(inArrival.mText);
            line["sender"] = Text(inArrival.mSender);
            break;
        case Arrival::Kind::kNotification:
            line["notification"] = Text(inArrival.mType);
            line["sub-type"] = Text(inArrival.mSubType);
            line["payload"] = MakeValue(inArrival.mDictionary);
            break;
    }
    return JSONLine(VariantValue(line));
}

std::string AsText(const Arrival& inArrival, const std::string& inType) {
    switch (inArrival.mKind) {
        case Arrival::Kind::kRaw:
            return inType + " " + JSONLine(VariantValue(inArrival.mText)) + " from " +
                   PlainLine(inArrival.mSender);
        case Arrival::Kind::kNotification:
            return "notification " + inType + " " + PlainLine(inArrival.mSubType) + " " +
                   JSONLine(VariantValue(inArrival.mDictionary));
        case Arrival::Kind::kDictionary:
            break;
    }
    return inType + " " + JSONLine(VariantValue(inArrival.mDictionary));
}

}  // namespace orvane::plexa::tool
