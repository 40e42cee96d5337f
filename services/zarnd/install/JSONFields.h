/// Fields of the records beside a module's files. Each throws `ManifestError` for one that is missing, and
/// `boost::bad_any_cast` for one of the wrong kind.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <boost/any.hpp>

#include "install/Manifest.h"
#include "nuocore/Variant.h"

namespace orvane::plexa::zarnd {

inline const nuocore::serialization::VariantValue& FieldAt(
    const nuocore::serialization::VariantObject& inObject, const char* inKey) {
    const auto found = inObject.find(inKey);
    if (found == inObject.end()) throw ManifestError(std::string("has no \"") + inKey + "\"");
    return *found->second;
}

inline std::string TextAt(const nuocore::serialization::VariantObject& inObject, const char* inKey) {
    return std::string(boost::any_cast<const nuocore::UTF8String&>(FieldAt(inObject, inKey)));
}

inline std::uint64_t SizeAt(const nuocore::serialization::VariantObject& inObject, const char* inKey) {
    return static_cast<std::uint64_t>(boost::any_cast<std::int64_t>(FieldAt(inObject, inKey)));
}

inline nuocore::serialization::VariantValuePtr TextValue(std::string_view inText) {
    return nuocore::serialization::MakeValue(nuocore::UTF8String(inText));
}

inline nuocore::serialization::VariantValuePtr SizeValue(std::uint64_t inSize) {
    return nuocore::serialization::MakeValue(static_cast<std::int64_t>(inSize));
}

}  // namespace orvane::plexa::zarnd
