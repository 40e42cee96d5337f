#include "install/Manifest.h"

#include <boost/any.hpp>

#include "nuocore/JSON.h"
#include "nuocore/Variant.h"

namespace orvane::plexa::zarnd {

using nuocore::UTF8String;
using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;
using nuocore::serialization::VariantValuePtr;

namespace {

VariantValuePtr Text(std::string_view inText) { return MakeValue(UTF8String(inText)); }

VariantValuePtr Texts(const std::vector<std::string>& inTexts) {
    VariantArray array;
    for (const std::string& text : inTexts) array.push_back(Text(text));
    return MakeValue(array);
}

const VariantValue& At(const VariantObject& inObject, const char* inKey) {
    const auto found = inObject.find(inKey);
    if (found == inObject.end()) throw ManifestError(std::string("has no \"") + inKey + "\"");
    return *found->second;
}

std::string TextAt(const VariantObject& inObject, const char* inKey) {
    return std::string(boost::any_cast<const UTF8String&>(At(inObject, inKey)));
}

std::vector<std::string> TextsAt(const VariantObject& inObject, const char* inKey) {
    std::vector<std::string> texts;
    for (const VariantValuePtr& entry : boost::any_cast<const VariantArray&>(At(inObject, inKey))) {
        texts.emplace_back(boost::any_cast<const UTF8String&>(*entry));
    }
    return texts;
}

VariantObject EntryObject(const ManifestEntry& inEntry) {
    VariantObject object;
    if (!inEntry.mTarget.empty()) {
        object["target"] = Text(inEntry.mTarget);
    } else {
        object["size"] = MakeValue(static_cast<std::int64_t>(inEntry.mSize));
        object["sha256"] = Text(inEntry.mSha256);
    }
    return object;
}

ManifestEntry EntryOf(const VariantObject& inObject) {
    if (inObject.find("target") != inObject.end()) return {0, {}, TextAt(inObject, "target")};
    return {static_cast<std::uint64_t>(boost::any_cast<std::int64_t>(At(inObject, "size"))),
            TextAt(inObject, "sha256"),
            {}};
}

}  // namespace

std::uint64_t Manifest::Size() const {
    std::uint64_t size = 0;
    for (const auto& [path, entry] : mFiles) size += entry.mSize;
    return size;
}

std::string WriteManifest(const Manifest& inManifest) {
    VariantObject files;
    for (const auto& [path, entry] : inManifest.mFiles) {
        files[UTF8String(path)] = MakeValue(EntryObject(entry));
    }
    VariantObject object;
    object["product"] = Text(inManifest.mProduct);
    object["module"] = Text(inManifest.mModule);
    object["version"] = Text(inManifest.mVersion);
    object["archive-sha256"] = Text(inManifest.mArchiveSha256);
    object["needs"] = Texts(inManifest.mNeeds);
    object["conflicts"] = Texts(inManifest.mConflicts);
    object["files"] = MakeValue(files);
    return std::string(nuocore::serialization::GetJSONUTF8String(VariantValue(object), true));
}

Manifest ReadManifest(std::string_view inText) try {
    const VariantValuePtr value = nuocore::serialization::ParseJSON(inText);
    const auto& object = boost::any_cast<const VariantObject&>(*value);
    Manifest manifest{TextAt(object, "product"),
                      TextAt(object, "module"),
                      TextAt(object, "version"),
                      TextAt(object, "archive-sha256"),
                      TextsAt(object, "needs"),
                      TextsAt(object, "conflicts"),
                      {}};
    for (const auto& [path, entry] : boost::any_cast<const VariantObject&>(At(object, "files"))) {
        manifest.mFiles.emplace(std::string(path), EntryOf(boost::any_cast<const VariantObject&>(*entry)));
    }
    return manifest;
} catch (const boost::bad_any_cast&) {
    throw ManifestError("has a value of the wrong kind");
} catch (const nuocore::serialization::JSONError& error) {
    throw ManifestError(std::string("is no JSON: ") + error.what());
}

}  // namespace orvane::plexa::zarnd
