#include "service/Answer.h"

#include "nuocore/JSON.h"

namespace orvane::plexa::zarnd {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;
using nuocore::serialization::VariantValuePtr;

namespace {

VariantValuePtr Text(std::string_view inText) { return MakeValue(UTF8String(inText)); }

std::string Write(const RequestId& inId, VariantObject& ioContent, const char* inResult) {
    ioContent["result"] = Text(inResult);
    ioContent[UTF8String(inId.mKey)] = Text(inId.mId);
    return std::string(nuocore::serialization::GetJSONUTF8String(VariantValue(ioContent), false));
}

VariantObject ModuleObject(const std::string& inProduct, const std::string& inModule) {
    VariantObject module;
    module["product-sapcode"] = Text(inProduct);
    module["module-id"] = Text(inModule);
    return module;
}

}  // namespace

std::string WriteAnswer(const RequestId& inId, VariantObject inContent) {
    std::string text = Write(inId, inContent, "done");
    if (text.size() <= kMaxPayloadBytes) return text;
    return WriteRefusal(inId, ErrorCode::kBadRequest,
                        "the answer is too long: ask for one product, or one module");
}

std::string WriteRefusal(const RequestId& inId, ErrorCode inCode, const std::string& inSentence) {
    VariantObject data;
    data["error-code"] = Text(std::to_string(static_cast<int>(inCode)));
    data["error-type"] = Text("fatal");
    data["error-metadata"] = Text(inSentence);
    VariantObject content;
    content["error-data"] = MakeValue(data);
    return Write(inId, content, "error");
}

VariantObject ListContent(const std::vector<ListedModule>& inModules) {
    VariantArray list;
    for (const ListedModule& listed : inModules) {
        VariantObject module = ModuleObject(listed.mProduct, listed.mModule);
        module["state"] = Text(listed.mState);
        module["size"] = MakeValue(static_cast<std::int64_t>(listed.mSize));
        if (!listed.mInstalledVersion.empty()) module["version"] = Text(listed.mInstalledVersion);
        if (!listed.mOfferedVersion.empty()) module["offered-version"] = Text(listed.mOfferedVersion);
        if (!listed.mFolder.empty()) module["folder"] = Text(listed.mFolder);
        list.push_back(MakeValue(module));
    }
    VariantObject content;
    content["modules"] = MakeValue(list);
    return content;
}

VariantObject CheckContent(const std::vector<CheckedModule>& inModules) {
    VariantArray list;
    for (const CheckedModule& checked : inModules) {
        VariantObject module = ModuleObject(checked.mProduct, checked.mModule);
        module["version"] = Text(checked.mVersion);
        module["state"] = Text(checked.mDamages.empty() ? "intact" : "damaged");
        VariantArray damages;
        for (const Damage& damage : checked.mDamages) {
            VariantObject entry;
            entry["file"] = Text(damage.mPath);
            entry["damage"] = Text(damage.mWhat);
            damages.push_back(MakeValue(entry));
        }
        if (!damages.empty()) module["damages"] = MakeValue(damages);
        list.push_back(MakeValue(module));
    }
    VariantObject content;
    content["modules"] = MakeValue(list);
    return content;
}

}  // namespace orvane::plexa::zarnd
