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

bool IsWhiteSpace(char inByte) { return inByte == ' ' || (inByte >= '\t' && inByte <= '\r'); }

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

boost::shared_ptr<VariantValue> AttributesValue(
    std::span<const nuocore::xml::UTF8ParseReceiver::Attribute> inAttributes) {
    if (inAttributes.empty()) {
        return {};
    }
    VariantObject object;
    for (const auto& attribute : inAttributes) {
        object.insert_or_assign(UTF8String(attribute.mName), MakeValue(UTF8String(attribute.mValue)));
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
    CharactersUTF8(nuocore::string::UTF16to8(inText));
}

void PlexaMessageXMLParseHandler::StartElement(const UTF16String& inName,
                                               const nuocore::xml::AttributeMap& inAttributes) {
    std::vector<std::pair<UTF8String, UTF8String>> texts;
    texts.reserve(inAttributes.size());
    for (const auto& [name, value] : inAttributes) {
        texts.emplace_back(nuocore::string::UTF16to8(name), nuocore::string::UTF16to8(value));
    }
    std::vector<Attribute> attributes;
    attributes.reserve(texts.size());
    for (const auto& [name, value] : texts) {
        attributes.push_back({name, value});
    }
    StartElementUTF8(nuocore::string::UTF16to8(inName), attributes);
}

void PlexaMessageXMLParseHandler::EndElement(const UTF16String& inName) {
    EndElementUTF8(nuocore::string::UTF16to8(inName));
}

void PlexaMessageXMLParseHandler::CharactersUTF8(std::string_view inText) {
    // Indentation between elements must never become content. What stands behind a NUL doesn't make it one.
    const auto other = std::find_if_not(inText.begin(), inText.end(), IsWhiteSpace);
    if (other != inText.end() && *other != '\0') {
        mLatestCharacters.Append(inText.data(), inText.size());
    }
}

void PlexaMessageXMLParseHandler::StartElementUTF8(std::string_view inName,
                                                   std::span<const Attribute> inAttributes) {
    TagStackEntry& entry = mTagStack.Push();
    entry.mTag.assign(inName);
    entry.mAttributes = AttributesValue(inAttributes);
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

void PlexaMessageXMLParseHandler::EndElementUTF8(std::string_view inName) {
    Assert(mTagStack.Top().mTag == inName, kEndElement,
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
