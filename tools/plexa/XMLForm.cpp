#include "XMLForm.h"

#include <algorithm>
#include <exception>

#include "PayloadText.h"
#include "nuocore/StringConversion.h"
#include "nuoplexasupport/Constants.h"
#include "xml/PlexaXMLSupport.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValuePtr;

namespace {

constexpr std::string_view kPlainStarts = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
constexpr std::string_view kPlainOthers = "0123456789-.";

bool IsPlain(char inByte) {
    return kPlainStarts.find(inByte) != std::string_view::npos ||
           kPlainOthers.find(inByte) != std::string_view::npos;
}

// Which of the other letters may stand in a name is known to the codec.
bool CanBeRead(std::string_view inName) {
    UTF8String element("<");
    element.append(inName).append("/>");
    try {
        nuoplexasupport::ParsePlexaXMLPayload(element);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool IsName(std::string_view inText) {
    if (inText.empty() || kPlainOthers.find(inText.front()) != std::string_view::npos) return false;
    if (std::all_of(inText.begin(), inText.end(), IsPlain)) return true;
    const bool mayBe = std::all_of(inText.begin(), inText.end(), [](char inByte) {
        return IsPlain(inByte) || inByte == ':' || static_cast<unsigned char>(inByte) >= 0x80U;
    });
    return mayBe && CanBeRead(inText);
}

bool IsText(std::string_view inText) {
    return nuocore::string::IsValidUTF8(inText) &&
           std::none_of(inText.begin(), inText.end(),
                        [](char inByte) {
                            return static_cast<unsigned char>(inByte) < 0x20U && inByte != '\t' &&
                                   inByte != '\n' && inByte != '\r';
                        }) &&
           inText.find("\xEF\xBF\xBE") == std::string_view::npos &&
           inText.find("\xEF\xBF\xBF") == std::string_view::npos;
}

std::string Quoted(std::string_view inText) { return "\"" + PlainLine(inText) + "\""; }

std::string TroubleOf(const VariantObject& inObject, bool inIsAttributes) {
    for (const auto& [name, value] : inObject) {
        if (!IsName(name)) return Quoted(name) + " is no XML name";
        const auto* const text = boost::any_cast<UTF8String>(value.get());
        if (text != nullptr && !IsText(*text)) {
            return "the value of " + Quoted(name) + " has characters that XML can't hold";
        }
        const auto* const object = boost::any_cast<VariantObject>(value.get());
        if (object == nullptr) continue;
        if (inIsAttributes) return "the attribute " + Quoted(name) + " is no text";
        std::string trouble = TroubleOf(*object, name == nuoplexasupport::kXMLToJSONKey_Attributes);
        if (!trouble.empty()) return trouble;
    }
    return {};
}

}  // namespace

std::string XMLTrouble(const VariantObject& inDictionary, std::string_view inRootTag) {
    return IsName(inRootTag) ? TroubleOf(inDictionary, false) : Quoted(inRootTag) + " is no XML name";
}

}  // namespace orvane::plexa::tool
