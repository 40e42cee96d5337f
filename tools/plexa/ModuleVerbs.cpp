#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BusConnection.h"
#include "DesktopService.h"
#include "Failure.h"
#include "ModuleOptions.h"
#include "Output.h"
#include "PayloadText.h"
#include "Table.h"
#include "Verbs.h"
#include "bus/MessageTypes.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

struct QuestionOptions {
    ConnectionOptions mConnection;
    ModuleOptions mModule;
    bool mIsJSON = false;
};

std::vector<VariantObject> ObjectsOf(const VariantObject& inObject, const char* inKey) {
    std::vector<VariantObject> objects;
    if (!nuocore::serialization::ObjectHasProperty(inObject, inKey, true)) return objects;
    const auto& array = nuocore::serialization::ExtractPropertyFromObject<VariantArray>(inObject, inKey);
    for (const auto& value : array) objects.push_back(boost::any_cast<VariantObject>(*value));
    return objects;
}

VariantObject Ask(const QuestionOptions& inOptions, const char* inType, const Interruption& inInterruption,
                  std::optional<double> inSeconds = kAnswerSeconds) {
    const VariantObject question = inOptions.mModule.AsQuestion();
    CheckQuestion(question);
    BusConnection bus(inOptions.mConnection);
    bus.Connect(inInterruption);
    const api5::EndPoint service = RequireService(bus, inInterruption);
    return AskService(bus, service, inType, question, inInterruption, inSeconds);
}

void PrintJSON(const std::vector<VariantObject>& inModules, Output& ioOutput) {
    for (const VariantObject& module : inModules) ioOutput.Line(JSONLine(VariantValue(module)));
}

std::string SizeOf(const VariantObject& inModule) {
    return std::to_string(nuocore::serialization::ExtractPropertyFromObject<std::int64_t>(inModule, "size"));
}

std::string Cell(const VariantObject& inModule, const char* inKey) {
    const std::string text = PlainLine(TextOf(inModule, inKey));
    return text.empty() ? "-" : text;
}

void List(const QuestionOptions& inOptions) {
    const Interruption interruption;
    const auto modules = ObjectsOf(Ask(inOptions, zarnd::kListType, interruption), "modules");
    Output output(interruption.Descriptor());
    if (inOptions.mIsJSON) return PrintJSON(modules, output);
    std::vector<std::vector<std::string>> rows = {
        {"PRODUCT", "MODULE", "STATE", "VERSION", "OFFERED", "BYTES", "FOLDER"}};
    for (const VariantObject& module : modules) {
        rows.push_back({Cell(module, "product-sapcode"), Cell(module, "module-id"), Cell(module, "state"),
                        Cell(module, "version"), Cell(module, "offered-version"), SizeOf(module),
                        Cell(module, "folder")});
    }
    PrintTable(rows, output);
}

void Check(const QuestionOptions& inOptions) {
    const Interruption interruption;
    // Every file is read, however long that takes.
    const auto modules = ObjectsOf(Ask(inOptions, zarnd::kCheckType, interruption, std::nullopt), "modules");
    Output output(interruption.Descriptor());
    if (inOptions.mIsJSON) PrintJSON(modules, output);
    std::size_t damaged = 0;
    for (const VariantObject& module : modules) {
        if (TextOf(module, "state") != "intact") ++damaged;
        if (inOptions.mIsJSON) continue;
        output.Line(Cell(module, "product-sapcode") + " " + Cell(module, "module-id") + " " +
                    Cell(module, "version") + ": " + Cell(module, "state"));
        for (const VariantObject& damage : ObjectsOf(module, "damages")) {
            output.Line("  " + Cell(damage, "file") + ": " + Cell(damage, "damage"));
        }
    }
    if (damaged != 0) {
        throw Failure(kExitFailure, std::to_string(damaged) +
                                        " of the modules are damaged; \"plexa module install\" installs "
                                        "them anew");
    }
}

void Remove(const QuestionOptions& inOptions) {
    RequireProduct(inOptions.mModule);
    const Interruption interruption;
    Ask(inOptions, zarnd::kRemoveType, interruption);
    Output output(interruption.Descriptor());
    if (inOptions.mIsJSON) {
        VariantObject removed;
        removed["product-sapcode"] = MakeValue(UTF8String(std::string_view(inOptions.mModule.mProduct)));
        removed["module-id"] = MakeValue(UTF8String(std::string_view(inOptions.mModule.mId)));
        removed["state"] = MakeValue(UTF8String("removed"));
        return PrintJSON({removed}, output);
    }
    output.Line(PlainLine(inOptions.mModule.mId) + ": removed");
}

// What the verbs that ask one question have in common.
std::shared_ptr<QuestionOptions> AddQuestion(CLI::App& ioVerb, void (*inAction)(const QuestionOptions&)) {
    const auto options = std::make_shared<QuestionOptions>();
    AddProduct(ioVerb, options->mModule);
    AddConnectionOptions(ioVerb, options->mConnection);
    ioVerb.callback([options, inAction] { inAction(*options); });
    return options;
}

void AddJSON(CLI::App& ioVerb, QuestionOptions& outOptions) {
    ioVerb.add_flag("--json", outOptions.mIsJSON, "Print one JSON object a line");
}

void AddListVerb(CLI::App& ioModule) {
    CLI::App* const verb =
        ioModule.add_subcommand("list", "List the modules that are installed, and those that could be");
    AddJSON(*verb, *AddQuestion(*verb, List));
    verb->footer(
        "Without --product those of all products. States: installed, outdated, available.\n\n"
        "Examples:\n"
        "  plexa module list\n"
        "  plexa module list --product QRTX --json\n\n"
        "Exit codes: 0 listed, 1 refused, 2 wrong command line, 3 no answer, 4 no broker or no desktop "
        "service.");
}

void AddCheckVerb(CLI::App& ioModule) {
    CLI::App* const verb =
        ioModule.add_subcommand("check", "Compare the files of installed modules with what was installed");
    const auto options = AddQuestion(*verb, Check);
    AddModuleId(*verb, options->mModule, false);
    AddJSON(*verb, *options);
    verb->footer(
        "Without an id all modules of the product, without --product those of all. Takes as long as it takes to\n"
        "read all files; Ctrl-C ends the wait.\n\n"
        "Examples:\n"
        "  plexa module check\n"
        "  plexa module check KQ7L --product QRTX\n\n"
        "Exit codes: 0 all intact, 1 some damaged, or refused, 2 wrong command line, 3 no answer, 4 no broker\n"
        "or no desktop service.");
}

void AddRemoveVerb(CLI::App& ioModule) {
    CLI::App* const verb = ioModule.add_subcommand("remove", "Have an installed module taken away");
    const auto options = AddQuestion(*verb, Remove);
    AddModuleId(*verb, options->mModule, true);
    AddJSON(*verb, *options);
    verb->footer(
        "Examples:\n"
        "  plexa module remove KQ7L --product QRTX\n\n"
        "Exit codes: 0 removed, 1 refused, 2 wrong command line, 3 no answer, 4 no broker or no desktop "
        "service.");
}

}  // namespace

void AddModuleVerbs(CLI::App& ioApp) {
    CLI::App* const module = ioApp.add_subcommand("module", "Install, list, check and remove add-on modules");
    module->require_subcommand(1);
    AddModuleInstallVerb(*module);
    AddListVerb(*module);
    AddCheckVerb(*module);
    AddRemoveVerb(*module);
}

}  // namespace orvane::plexa::tool
