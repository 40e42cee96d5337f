#include "NotificationOptions.h"

#include <CLI/CLI.hpp>

#include "ConnectionOptions.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;

namespace {

constexpr std::size_t kMaxKindBytes = 1024;  // what the desktop service takes

std::string CheckKind(const std::string& inText) {
    return inText.size() <= kMaxKindBytes ? "" : "must not be longer than 1024 bytes";
}

}  // namespace

VariantObject NotificationKind::AsObject() const {
    VariantObject object;
    object["type"] = MakeValue(UTF8String(std::string_view(mType)));
    object["sub-type"] = MakeValue(UTF8String(std::string_view(mSubType)));
    return object;
}

void AddNotificationKind(CLI::App& ioVerb, NotificationKind& outKind) {
    ioVerb.add_option("type", outKind.mType, "Type of the notifications")
        ->required()
        ->check(CheckNotEmpty)
        ->check(CheckKind)
        ->type_name("TYPE");
    ioVerb.add_option("subtype", outKind.mSubType, "Their sub-type")
        ->required()
        ->check(CheckKind)
        ->type_name("SUBTYPE");
}

}  // namespace orvane::plexa::tool
