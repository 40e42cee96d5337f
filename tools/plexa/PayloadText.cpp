#include "PayloadText.h"

#include <boost/any.hpp>
#include <exception>
#include <utility>

#include "Failure.h"
#include "XMLForm.h"
#include "nuocore/JSON.h"
#include "xml/PlexaXMLSupport.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;
using nuocore::serialization::VariantValuePtr;

namespace {

VariantObject ObjectOf(const VariantValuePtr& inValue, const std::string& inWhat) {
    const auto* const object = boost::any_cast<VariantObject>(inValue.get());
    if (object == nullptr) {
        throw Failure(kExitFailure, inWhat + ": it is no object");
    }
    return *object;
}

// The UTF-8 form of U+0080 to U+009F, which some terminals obey.
bool IsHighControl(char inLead, char inNext) {
    const auto next = static_cast<unsigned char>(inNext);
    return static_cast<unsigned char>(inLead) == 0xC2U && next >= 0x80U && next <= 0x9FU;
}

std::string UnicodeEscape(unsigned char inCode) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    return {'\\', 'u', '0', '0', kDigits[inCode >> 4U], kDigits[inCode & 15U]};
}

}  // namespace

std::optional<PayloadFormat> FormatOf(std::string_view inPayload) {
    const std::size_t first = inPayload.find_first_not_of(" \t\n\v\f\r");
    if (first == std::string_view::npos) return std::nullopt;
    switch (inPayload[first]) {
        case '{':
        case '[':
            return PayloadFormat::kJSON;
        case '<':
            return PayloadFormat::kXML;
        default:
            return std::nullopt;
    }
}

VariantObject DecodePayload(const UTF8String& inPayload, PayloadFormat inFormat) {
    const std::string failed =
        std::string("cannot decode the payload as ") + (inFormat == PayloadFormat::kXML ? "XML" : "JSON");
    try {
        return ObjectOf(inFormat == PayloadFormat::kXML ? nuoplexasupport::ParsePlexaXMLPayload(inPayload)
                                                        : nuocore::serialization::ParseJSON(inPayload),
                        failed);
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& error) {
        throw Failure(kExitFailure, failed + ": " + error.what());
    }
}

UTF8String EncodePayload(const VariantObject& inDictionary, PayloadFormat inFormat,
                         const UTF8String& inRootTag) {
    const VariantValue value(inDictionary);
    if (inFormat == PayloadFormat::kJSON) {
        return nuocore::serialization::GetJSONUTF8String(value, false);
    }
    if (const std::string trouble = XMLTrouble(inDictionary, inRootTag); !trouble.empty()) {
        throw Failure(kExitFailure, "cannot write the dictionary as XML: " + trouble);
    }
    try {
        return nuoplexasupport::CreateXMLPayload(value, inRootTag);
    } catch (const boost::bad_any_cast&) {
        throw Failure(
            kExitFailure,
            "cannot write the dictionary as XML: what stands under \"__attributes__\" is no object");
    }
}

VariantObject ParseObject(std::string_view inText, const std::string& inWhat) {
    VariantValuePtr value;
    try {
        value = nuocore::serialization::ParseJSON(inText);
    } catch (const nuocore::serialization::JSONError& error) {
        throw Failure(kExitFailure, "cannot take " + inWhat + ": " + error.what());
    }
    return ObjectOf(value, "cannot take " + inWhat);
}

std::string JSONLine(const VariantValue& inValue) {
    const UTF8String json = nuocore::serialization::GetJSONUTF8String(inValue, false);
    std::string line;
    line.reserve(json.size());
    for (std::size_t place = 0; place < json.size(); ++place) {
        const char byte = json[place];
        if (byte == '\x7F') {
            line += UnicodeEscape(0x7FU);
        } else if (place + 1 < json.size() && IsHighControl(byte, json[place + 1])) {
            line += UnicodeEscape(static_cast<unsigned char>(json[++place]));
        } else {
            line += byte;
        }
    }
    return line;
}

std::string PlainLine(std::string_view inText) {
    const std::string quoted = JSONLine(VariantValue(UTF8String(inText)));
    std::string line;
    line.reserve(quoted.size());
    for (std::size_t place = 1; place + 1 < quoted.size(); ++place) {
        if (quoted[place] == '\\' && quoted[++place] != '"') line += '\\';
        line += quoted[place];
    }
    return line;
}

}  // namespace orvane::plexa::tool
