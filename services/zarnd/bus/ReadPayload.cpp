#include <boost/any.hpp>
#include <memory>
#include <vector>

#include "bus/Payload.h"
#include "bus/QuestionLimits.h"
#include "common/JSONFields.h"
#include "nuocore/JSON.h"
#include "nuocore/StringConversion.h"
#include "nuocore/XML.h"

namespace orvane::plexa::zarnd {

using nuocore::UTF16String;
using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

std::string Below(const std::string& inPath, std::string_view inName) {
    std::string path = inPath;
    if (!path.empty()) path += '/';
    return path.append(inName);
}

void Enter(PayloadTexts& outTexts, const std::string& inPath, std::string inText) {
    if (outTexts.size() == kMaxQuestionValues) throw PayloadError("the payload has too many parts");
    outTexts[inPath] = std::move(inText);
}

/// Keeps the text of each element that has no elements inside.
class TextCollector final : public nuocore::xml::AbstractParseHandler {
  public:
    explicit TextCollector(PayloadTexts& outTexts) : mTexts(outTexts) {}

    void StartElement(const UTF16String& inName,
                      const nuocore::xml::AttributeMap& /*inAttributes*/) override {
        const std::string name(nuocore::string::UTF16to8(inName));
        if (!mOpen.empty()) mOpen.back().mIsLeaf = false;
        // The root's own name is no part of a path.
        mOpen.push_back({mOpen.empty() ? std::string() : Below(mOpen.back().mPath, name), {}, true});
    }
    void Characters(const UTF16String& inText) override {
        if (!mOpen.empty()) mOpen.back().mText += nuocore::string::UTF16to8(inText);
    }
    void EndElement(const UTF16String& /*inName*/) override {
        if (mOpen.back().mIsLeaf && mOpen.size() > 1) {
            Enter(mTexts, mOpen.back().mPath, std::move(mOpen.back().mText));
        }
        mOpen.pop_back();
    }

  private:
    struct Element {
        std::string mPath;
        std::string mText;
        bool mIsLeaf;
    };
    PayloadTexts& mTexts;
    std::vector<Element> mOpen;
};

void Flatten(const VariantObject& inObject, const std::string& inPath, PayloadTexts& outTexts) {
    for (const auto& [key, value] : inObject) {
        const std::string path = Below(inPath, key);
        if (const auto* const object = boost::any_cast<VariantObject>(value.get())) {
            Flatten(*object, path, outTexts);
        } else if (const auto* const text = boost::any_cast<UTF8String>(value.get())) {
            Enter(outTexts, path, std::string(*text));
        } else if (const bool* const flag = boost::any_cast<bool>(value.get())) {
            Enter(outTexts, path, *flag ? "true" : "false");
        }
    }
}

PayloadTexts ReadXML(std::string_view inText) {
    PayloadTexts texts;
    nuocore::xml::ParserOptions options;
    options.mLimits.mMaxBytes = kMaxReadBytes;
    options.mLimits.mMaxDepth = kMaxQuestionDepth;
    nuocore::xml::GetParser(std::make_unique<TextCollector>(texts), options)->Parse(inText);
    return texts;
}

PayloadTexts ReadJSON(std::string_view inText) {
    const auto value =
        nuocore::serialization::ParseJSON(inText, {kMaxReadBytes, kMaxQuestionDepth, kMaxQuestionValues});
    const auto* const object = boost::any_cast<VariantObject>(value.get());
    if (object == nullptr) throw PayloadError("the payload is no object");
    PayloadTexts texts;
    Flatten(*object, "", texts);
    return texts;
}

std::string JSONOf(const VariantObject& inContent) {
    return std::string(nuocore::serialization::GetJSONUTF8String(VariantValue(inContent), false));
}

}  // namespace

PayloadTexts ReadPayload(std::string_view inText) try {
    const std::size_t first = inText.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) throw PayloadError("the payload is empty");
    if (inText[first] == '<') return ReadXML(inText);
    if (inText[first] == '{') return ReadJSON(inText);
    throw PayloadError("the payload is neither XML nor a JSON object");
} catch (const nuocore::xml::XMLError& error) {
    throw PayloadError(error.what());
} catch (const nuocore::serialization::JSONError& error) {
    throw PayloadError(error.what());
}

std::string TextAt(const PayloadTexts& inTexts, const char* inPath) {
    const auto found = inTexts.find(inPath);
    return found == inTexts.end() ? std::string() : found->second;
}

ModuleKey ModuleOf(const PayloadTexts& inTexts) {
    return {TextAt(inTexts, "product-sapcode"), TextAt(inTexts, "modules/module-id")};
}

std::optional<RequestId> RequestIdOf(const PayloadTexts& inTexts) {
    for (const char* const key : {"requestId", "request-id", "requestid", "request-context"}) {
        const auto found = inTexts.find(key);
        if (found != inTexts.end()) return RequestId{key, found->second};
    }
    return std::nullopt;
}

std::optional<std::string> OnlyRequestId(std::string_view inText) try {
    const auto id = RequestIdOf(ReadPayload(inText));
    if (!id || id->mId.size() > kMaxReadIdBytes) return std::nullopt;
    VariantObject content;
    content[UTF8String(id->mKey)] = TextValue(id->mId);
    return JSONOf(content);
} catch (const PayloadError&) {
    return std::nullopt;
}

std::optional<std::string> OnlyModule(std::string_view inText) try {
    const PayloadTexts texts = ReadPayload(inText);
    const ModuleKey key = ModuleOf(texts);
    const std::string version = TextAt(texts, "product-vardo-version");
    if (key.mModule.empty() || key.mModule.size() + key.mProduct.size() > kMaxReadModuleBytes)
        return std::nullopt;
    VariantObject module;
    module["module-id"] = TextValue(key.mModule);
    VariantObject content;
    content["product-sapcode"] = TextValue(key.mProduct);
    if (version.size() <= kMaxReadModuleBytes) content["product-vardo-version"] = TextValue(version);
    content["modules"] = MakeValue(std::move(module));
    return JSONOf(content);
} catch (const PayloadError&) {
    return std::nullopt;
}

}  // namespace orvane::plexa::zarnd
