#include "nuocore/Variant.h"

#include <string>

#include "nuocore/Assertion.h"
#include "nuocore/StringConversion.h"

namespace nuocore::serialization {

namespace {

/// The value under a key, or null when there is no such key or no value behind it.
const VariantValue* FindValue(const VariantObject& inObject, std::string_view inKey) {
    const auto place = inObject.find(inKey);
    return place == inObject.end() ? nullptr : place->second.get();
}

}  // namespace

void AddToObject(boost::any& ioObject, const char* inKey, boost::any inValue, bool inKeepExisting) {
    auto& object = boost::any_cast<VariantObject&>(ioObject);
    const std::string_view key(inKey);
    const auto place = object.lower_bound(key);
    if (place == object.end() || place->first != key) {
        object.emplace_hint(place, key, MakeValue(std::move(inValue)));
    } else if (!inKeepExisting) {
        place->second = MakeValue(std::move(inValue));
    }
}

bool ObjectHasProperty(const VariantObject& inObject, std::string_view inKey, bool inMustHaveValue) {
    if (!inMustHaveValue) {
        return inObject.find(inKey) != inObject.end();
    }
    const VariantValue* const value = FindValue(inObject, inKey);
    return value != nullptr && !value->empty();
}

const VariantValue& ExtractPropertyFromObject(const VariantObject& inObject, std::string_view inKey) {
    const VariantValue* const value = FindValue(inObject, inKey);
    if (value == nullptr) {
        debug::RaiseAssertion({"Variant", 0, "nuocore::serialization::ExtractPropertyFromObject", "v.get()",
                               "Unable to find key: " + std::string(inKey)});
        throw boost::bad_any_cast();
    }
    return *value;
}

UTF8String ExtractTextFromObject(const VariantObject& inObject, std::string_view inKey) {
    const VariantValue& value = ExtractPropertyFromObject(inObject, inKey);
    if (const auto* const text = boost::any_cast<UTF8String>(&value)) {
        return *text;
    }
    if (const auto* const wide = boost::any_cast<UTF16String>(&value)) {
        return string::UTF16to8(*wide);
    }
    return boost::any_cast<const ImmutableString&>(value).AsUTF8String();
}

}  // namespace nuocore::serialization
