#include "xml/PlexaMessageXMLParseHandler.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "nuocore/Assertion.h"
#include "nuocore/StringConversion.h"
#include "nuocore/Variant.h"
#include "nuoplexasupport/Constants.h"

namespace nuoplexasupport {

using nuocore::serialization::MakeValue;

namespace {

constexpr const char* kStartDocument =
    "nuoplexasupport::`anonymous-namespace'::PlexaMessageXMLParseHandler::StartDocument";
constexpr const char* kEndDocument =
    "nuoplexasupport::`anonymous-namespace'::PlexaMessageXMLParseHandler::EndDocument";
constexpr const char* kEndElement =
    "nuoplexasupport::`anonymous-namespace'::PlexaMessageXMLParseHandler::EndElement";

void Assert(bool inHolds, const char* inFunction, const char* inExpression) {
    if (!inHolds) {
        nuocore::debug::RaiseAssertion({"PlexaXMLSupport", 0, inFunction, inExpression, {}});
    }
}

bool IsWhiteSpace(char16_t inUnit) { return inUnit == u' ' || (inUnit >= u'\t' && inUnit <= u'\r'); }

// The text in front of its first NUL. Mostly there is none, which a look at all units at once finds out
// soonest.
std::u16string_view UpToNul(std::u16string_view inText) {
    bool hasNul = false;
    for (const char16_t unit : inText) {
        hasNul |= unit == 0;
    }
    return hasNul ? inText.substr(0, inText.find(u'\0')) : inText;
}

// Whether `inBytes` is the UTF-8 form of `inText`. Names are mostly ASCII, where the units are the bytes.
bool IsUTF8Of(std::string_view inBytes, std::u16string_view inText) {
    const auto isSame = [](char inByte, char16_t inUnit) {
        return inUnit < 0x80 && static_cast<unsigned char>(inByte) == inUnit;
    };
    return std::equal(inBytes.begin(), inBytes.end(), inText.begin(), inText.end(), isSame) ||
           std::string_view(nuocore::string::UTF16to8(inText)) == inBytes;
}

// The value under `inTag` becomes `inValue`, whatever stood there: the last of equal siblings wins.
void SetInParent(const boost::shared_ptr<VariantValue>& inParent, const UTF8String& inTag,
                 boost::shared_ptr<VariantValue> inValue) {
    auto& objectMap = boost::any_cast<VariantObject&>(*inParent);
    const auto [place, isNew] = objectMap.emplace(inTag, nullptr);  // compares less than try_emplace
    if (!isNew) {
        nuocore::debug::RaiseAssertion(
            {"PlexaXMLSupport", 0, kEndElement, "objectMap.count(tag) == 0",
             std::string("Found duplicate tag in Plexa XML payload: <").append(inTag).append(">")});
    }
    place->second = std::move(inValue);
}

boost::shared_ptr<VariantValue> AttributesValue(const nuocore::xml::AttributeMap& inAttributes) {
    if (inAttributes.empty()) {
        return {};
    }
    VariantObject object;
    for (const auto& [name, value] : inAttributes) {
        // In ascending order, so the next one mostly goes to the end. Of names that are one in UTF-8 the last
        // counts.
        object.insert_or_assign(object.end(), nuocore::string::UTF16to8(name),
                                MakeValue(nuocore::string::UTF16to8(value)));
    }
    return MakeValue(std::move(object));
}

}  // namespace

PlexaMessageXMLParseHandler::PlexaMessageXMLParseHandler() : mResult(MakeValue(VariantObject())) {}

PlexaMessageXMLParseHandler::~PlexaMessageXMLParseHandler() = default;

void PlexaMessageXMLParseHandler::ExpectNothingOpen(const char* inFunction) const {
    Assert(mTagStack.Size() == 0, inFunction, "mTagStack.empty()");
    Assert(mObjectStack.empty(), inFunction, "mObjectStack.empty()");
    Assert(mLatestCharacters.str().empty(), inFunction, "mLatestCharacters.str().empty()");
}

void PlexaMessageXMLParseHandler::StartDocument() { ExpectNothingOpen(kStartDocument); }

void PlexaMessageXMLParseHandler::EndDocument() { ExpectNothingOpen(kEndDocument); }

void PlexaMessageXMLParseHandler::Characters(const UTF16String& inText) {
    const std::u16string_view text = UpToNul(inText);
    // Indentation between elements must never become content.
    if (!std::all_of(text.begin(), text.end(), IsWhiteSpace)) {
        mLatestCharacters.AppendUTF16(inText);
    }
}

void PlexaMessageXMLParseHandler::PushTag(const UTF16String& inName,
                                          const nuocore::xml::AttributeMap& inAttributes) {
    TagStackEntry& entry = mTagStack.Push();
    entry.mTag.clear();
    nuocore::string::AppendUTF16to8(inName, entry.mTag);
    entry.mAttributes = AttributesValue(inAttributes);
}

void PlexaMessageXMLParseHandler::StartElement(const UTF16String& inName,
                                               const nuocore::xml::AttributeMap& inAttributes) {
    PushTag(inName, inAttributes);
    const std::size_t open = mTagStack.Size() - mObjectStack.size();
    if (open >= 2 || !inAttributes.empty()) {
        if (mObjectStack.empty()) {
            // Only the root's dictionary, even when the new element has attributes: a first child of a root
            // without attributes that has attributes but no children is read as a string.
            mObjectStack.push_back(mResult);
        } else {
            if (open >= 2) {
                mObjectStack.push_back(MakeValue(VariantObject()));
            }
            if (!inAttributes.empty()) {
                mObjectStack.push_back(MakeValue(VariantObject()));
            }
        }
    }
    mLatestCharacters.Clear();
}

void PlexaMessageXMLParseHandler::EndElement(const UTF16String& inName) {
    Assert(IsUTF8Of(mTagStack.Top().mTag, inName), kEndElement,
           "nuocore::string::UTF16to8(inName) == mTagStack.back().mTag");
    // Without any dictionary the root element closes, and had neither attributes nor children: its text is
    // dropped.
    if (!mObjectStack.empty()) {
        if (mTagStack.Size() == mObjectStack.size() + 1) {
            EndLeaf();
        } else if (mObjectStack.size() < 2) {
            EndRoot();
        } else {
            EndDictionary();
        }
    }
    mTagStack.Pop();
    mLatestCharacters.Clear();
}

void PlexaMessageXMLParseHandler::EndLeaf() {
    SetInParent(mObjectStack.back(), mTagStack.Top().mTag, MakeValue(UTF8String(mLatestCharacters.view())));
}

void PlexaMessageXMLParseHandler::EndRoot() {
    Assert(mTagStack.Size() == mObjectStack.size(), kEndElement, "mTagStack.size() == mObjectStack.size()");
    mObjectStack.pop_back();
}

void PlexaMessageXMLParseHandler::EndDictionary() {
    TagStackEntry& entry = mTagStack.Top();
    Assert(mTagStack.Size() == mObjectStack.size(), kEndElement, "mTagStack.size() == mObjectStack.size()");
    if (!mLatestCharacters.str().empty()) {
        std::string message = "Unsupported tag found in Plexa XML payload. <";
        message.append(entry.mTag)
            .append(
                "> contained either nested tags or attributes AND test so the corresponding JSON data type is "
                "ambiguous (dictionary vs. string). Nested tags and attributes will be used to form a dictionary "
                "return value and text \"")
            .append(mLatestCharacters.view())
            .append("\" will be dropped.");
        nuocore::debug::RaiseAssertion(
            {"PlexaXMLSupport", 0, kEndElement, "mLatestCharacters.str().empty()", std::move(message)});
    }
    boost::shared_ptr<VariantValue> value = std::move(mObjectStack.back());
    mObjectStack.pop_back();
    if (entry.mAttributes != nullptr) {
        auto& object = boost::any_cast<VariantObject&>(*value);
        // Its key mostly comes before all others.
        object.emplace_hint(object.begin(), kXMLToJSONKey_Attributes, nullptr)->second =
            std::move(entry.mAttributes);
    }
    SetInParent(mObjectStack.back(), entry.mTag, std::move(value));
}

}  // namespace nuoplexasupport
