#include "service/Answer.h"

#include "common/JSONFields.h"
#include "nuocore/JSON.h"

namespace orvane::plexa::zarnd {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

std::string Write(const RequestId& inId, VariantObject& ioContent, const char* inResult) {
    ioContent["result"] = TextValue(inResult);
    ioContent[UTF8String(inId.mKey)] = TextValue(inId.mId);
    return std::string(nuocore::serialization::GetJSONUTF8String(VariantValue(ioContent), false));
}

VariantObject ModuleObject(const std::string& inProduct, const std::string& inModule) {
    VariantObject module;
    module["product-sapcode"] = TextValue(inProduct);
    module["module-id"] = TextValue(inModule);
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
    data["error-code"] = TextValue(std::to_string(static_cast<int>(inCode)));
    data["error-type"] = TextValue("fatal");
    data["error-metadata"] = TextValue(inSentence);
    VariantObject content;
    content["error-data"] = MakeValue(data);
    return Write(inId, content, "error");
}

VariantObject ListContent(const std::vector<ListedModule>& inModules) {
    VariantArray list;
    for (const ListedModule& listed : inModules) {
        VariantObject module = ModuleObject(listed.mProduct, listed.mModule);
        module["state"] = TextValue(listed.mState);
        module["size"] = SizeValue(listed.mSize);
        if (!listed.mInstalledVersion.empty()) module["version"] = TextValue(listed.mInstalledVersion);
        if (!listed.mOfferedVersion.empty()) module["offered-version"] = TextValue(listed.mOfferedVersion);
        if (!listed.mFolder.empty()) module["folder"] = TextValue(listed.mFolder);
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
        module["version"] = TextValue(checked.mVersion);
        module["state"] = TextValue(checked.mDamages.empty() ? "intact" : "damaged");
        VariantArray damages;
        for (const Damage& damage : checked.mDamages) {
            VariantObject entry;
            entry["file"] = TextValue(damage.mPath);
            entry["damage"] = TextValue(damage.mWhat);
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
