#include "ModuleOptions.h"

#include <CLI/CLI.hpp>

#include "Failure.h"
#include "common/Names.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;

namespace {

// Of another id no event would tell as it was asked: payload texts are trimmed.
std::string CheckModuleId(const std::string& inText) {
    if (zarnd::IsName(inText)) return "";
    return "a module id has letters, digits, \"-\", \"_\" and, but not in front, \".\", from 1 to " +
           std::to_string(zarnd::kMaxNameBytes) + " of them";
}

}  // namespace

VariantObject ModuleOptions::AsQuestion() const {
    VariantObject question;
    if (!mProduct.empty()) question["product-sapcode"] = MakeValue(UTF8String(std::string_view(mProduct)));
    if (!mId.empty()) {
        VariantObject module;
        module["module-id"] = MakeValue(UTF8String(std::string_view(mId)));
        question["modules"] = MakeValue(module);
    }
    return question;
}

void AddModuleId(CLI::App& ioVerb, ModuleOptions& outOptions, bool inIsRequired) {
    ioVerb.add_option("id", outOptions.mId, "Module id")
        ->required(inIsRequired)
        ->check(CheckModuleId)
        ->type_name("ID");
}

void AddProduct(CLI::App& ioVerb, ModuleOptions& outOptions) {
    ioVerb
        .add_option("--product", outOptions.mProduct,
                    "Code of the product that the module belongs to (default: $NUOCORE_SAP_CODE)")
        ->envname("NUOCORE_SAP_CODE")
        ->type_name("CODE");
}

void RequireProduct(const ModuleOptions& inOptions) {
    if (inOptions.mProduct.empty()) {
        throw Failure(kExitUsage, "name the product that the module belongs to with --product");
    }
}

}  // namespace orvane::plexa::tool
