#include "Desk.h"

#include <gtest/gtest.h>

#include <boost/json.hpp>

namespace zarnd_test {

namespace json = boost::json;

namespace {

json::array Texts(const std::vector<std::string>& inTexts) {
    json::array array;
    for (const std::string& text : inTexts) array.emplace_back(text);
    return array;
}

json::object Described(const orvane::plexa::zarnd::ModuleSpec& inModule) {
    return {{"version", inModule.mVersion},    {"fits", Texts(inModule.mFits)},
            {"archive", inModule.mArchive},    {"sha256", inModule.mSha256},
            {"size", inModule.mSize},          {"unpacked-size", inModule.mUnpackedSize},
            {"needs", Texts(inModule.mNeeds)}, {"conflicts", Texts(inModule.mConflicts)}};
}

}  // namespace

void Desk::Offer(const std::vector<orvane::plexa::zarnd::ModuleSpec>& inModules) {
    json::object modules;
    for (const auto& module : inModules) modules[module.mId] = Described(module);
    Write(mScratch.Path() / "catalogues" / "QRTX.json",
          json::serialize(json::object{{"schema", 1}, {"product", "QRTX"}, {"modules", modules}}));
}

std::string Desk::Store(const std::string& inArchive, const std::string& inName) const {
    Write(mScratch.Path() / inName, inArchive);
    return "file://" + (mScratch.Path() / inName).string();
}

support::Command Desk::ServiceCommand(const std::vector<std::string>& inMore) const {
    support::Command command{{ZARND_PROGRAM, "--data-dir", Data().string()}};
    command.mArguments.insert(command.mArguments.end(), inMore.begin(), inMore.end());
    command.mEnvironment = mBus.Environment(BROKER_BASE);
    command.mEnvironment["ZARND_CATALOGUE_DIR"] = (mScratch.Path() / "catalogues").string();
    return command;
}

void Desk::StartService(const std::vector<std::string>& inMore) {
    mService.reset();
    mService = std::make_unique<support::ChildProcess>(ServiceCommand(inMore));
    ASSERT_TRUE(mService->AwaitErrors("serving as zarnd-")) << mService->Errors();
}

std::unique_ptr<support::ChildProcess> Desk::Host(const std::string& inModule, const std::string& inName,
                                                  const std::string& inProduct) const {
    return std::make_unique<support::ChildProcess>(
        support::Command{{HOST_PROGRAM, inName, inProduct, "20.0", inModule}, mBus.Environment(BROKER_BASE)});
}

std::string Desk::EndOf(support::ChildProcess& ioHost) const {
    if (ioHost.Wait() != 0) return "(does not end) " + ioHost.Output() + ioHost.Errors();
    const std::string& output = ioHost.Output();
    const std::size_t line = output.rfind('\n', output.size() - 2);
    return output.substr(line + 1, output.size() - line - 2);
}

std::string Desk::Ask(const char* inType, const std::vector<std::string>& inPairs) const {
    support::Command command{
        {PLEXA_PROGRAM, "request", inType, "--response", std::string(inType) + "Response"},
        mBus.Environment(BROKER_BASE)};
    command.mArguments.insert(command.mArguments.end(), inPairs.begin(), inPairs.end());
    const auto run = support::Run(command);
    return run.mExitCode == 0 ? run.mOutput : run.mErrors;
}

}  // namespace zarnd_test
