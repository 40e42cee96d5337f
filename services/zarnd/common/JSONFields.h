/// Fields of the JSON objects that this service writes.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include <boost/any.hpp>

#include "nuocore/Variant.h"

namespace orvane::plexa::zarnd {

/// A field is missing, or of another kind than it should be; the text says "has ...".
class FieldError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A value of a kind. Throws `FieldError`, as all that read fields do.
template <typename T>
const T& As(const nuocore::serialization::VariantValue& inValue) {
    const T* const value = boost::any_cast<T>(&inValue);
    if (value == nullptr) throw FieldError("has a value of the wrong kind");
    return *value;
}

inline const nuocore::serialization::VariantValue& FieldAt(
    const nuocore::serialization::VariantObject& inObject, const char* inKey) {
    const auto found = inObject.find(inKey);
    if (found == inObject.end() || !found->second) throw FieldError(std::string("has no \"") + inKey + "\"");
    return *found->second;
}

inline std::string TextAt(const nuocore::serialization::VariantObject& inObject, const char* inKey) {
    return std::string(As<nuocore::UTF8String>(FieldAt(inObject, inKey)));
}

inline std::uint64_t SizeAt(const nuocore::serialization::VariantObject& inObject, const char* inKey) {
    return static_cast<std::uint64_t>(As<std::int64_t>(FieldAt(inObject, inKey)));
}

inline nuocore::serialization::VariantValuePtr TextValue(std::string_view inText) {
    return nuocore::serialization::MakeValue(nuocore::UTF8String(inText));
}

inline nuocore::serialization::VariantValuePtr SizeValue(std::uint64_t inSize) {
    return nuocore::serialization::MakeValue(static_cast<std::int64_t>(inSize));
}

}  // namespace orvane::plexa::zarnd
