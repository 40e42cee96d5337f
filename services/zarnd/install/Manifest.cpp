#include "install/Manifest.h"

#include "common/JSONFields.h"
#include "nuocore/JSON.h"

namespace orvane::plexa::zarnd {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;
using nuocore::serialization::VariantValuePtr;

namespace {

VariantValuePtr Texts(const std::vector<std::string>& inTexts) {
    VariantArray array;
    for (const std::string& text : inTexts) array.push_back(TextValue(text));
    return MakeValue(array);
}

std::vector<std::string> TextsAt(const VariantObject& inObject, const char* inKey) {
    std::vector<std::string> texts;
    for (const VariantValuePtr& entry : As<VariantArray>(FieldAt(inObject, inKey))) {
        texts.emplace_back(As<UTF8String>(*entry));
    }
    return texts;
}

}  // namespace

std::string WriteManifest(const Manifest& inManifest) {
    VariantObject object;
    object["product"] = TextValue(inManifest.mProduct);
    object["module"] = TextValue(inManifest.mModule);
    object["version"] = TextValue(inManifest.mVersion);
    object["archive-sha256"] = TextValue(inManifest.mArchiveSha256);
    object["needs"] = Texts(inManifest.mNeeds);
    object["conflicts"] = Texts(inManifest.mConflicts);
    object["size"] = SizeValue(inManifest.mFiles.mSize);
    object["files-sha256"] = TextValue(inManifest.mFiles.mSha256);
    return std::string(nuocore::serialization::GetJSONUTF8String(VariantValue(object), true));
}

Manifest ReadManifest(std::string_view inText) try {
    const VariantValuePtr value = nuocore::serialization::ParseJSON(inText);
    const auto& object = As<VariantObject>(*value);
    return {TextAt(object, "product"),
            TextAt(object, "module"),
            TextAt(object, "version"),
            TextAt(object, "archive-sha256"),
            TextsAt(object, "needs"),
            TextsAt(object, "conflicts"),
            {SizeAt(object, "size"), TextAt(object, "files-sha256")}};
} catch (const FieldError& error) {
    throw ManifestError(error.what());
} catch (const nuocore::serialization::JSONError& error) {
    throw ManifestError(std::string("is no JSON: ") + error.what());
}

}  // namespace orvane::plexa::zarnd
