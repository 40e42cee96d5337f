#include "Desktop.h"

#include <boost/json.hpp>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace tool_test {

namespace fs = std::filesystem;
namespace json = boost::json;

namespace {

/// Looks until something holds; fails the test when it never does.
template <typename Condition>
void Await(const char* inWhat, Condition inCondition) {
    const auto end = std::chrono::steady_clock::now() + support::kPatience;
    while (!inCondition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), end) << inWhat;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

std::string Read(const fs::path& inPath) {
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

OnDesktop::OnDesktop() { fs::create_directories(mBus.Folder() / "catalogues"); }

OnDesktop::~OnDesktop() {
    mService.reset();
    if (!mBus.BrokerId()) return;
    // Data that a service still writes could not be removed.
    if (const int id = ServiceOnBus(); id > 0) {
        ::kill(id, SIGKILL);
        AwaitGone("zarnd-");
    }
}

support::Command OnDesktop::Command(std::vector<std::string> inArguments) const {
    support::Command command = Plexa(mBus, std::move(inArguments));
    command.mEnvironment["ZARND_CATALOGUE_DIR"] = (mBus.Folder() / "catalogues").string();
    command.mEnvironment["XDG_DATA_HOME"] = (mBus.Folder() / "data").string();
    return command;
}

void OnDesktop::Offer(const std::string& inModule, std::size_t inBytes, const std::string& inConflict,
                      const std::string& inAddress) const {
    const fs::path files = mBus.Folder() / "files";
    fs::create_directories(files);
    {
        std::ofstream file(files / "noise", std::ios::binary);
        unsigned state = 1;
        for (std::size_t i = 0; i < inBytes; ++i) {
            state = state * 1664525U + 1013904223U;
            file.put(static_cast<char>(state >> 24U));
        }
    }
    const fs::path archive = mBus.Folder() / (inModule + ".tar");
    const auto packed = support::Run({{"/bin/tar", "cf", archive.string(), "-C", files.string(), "noise"}});
    ASSERT_EQ(packed.mExitCode, 0) << packed.mErrors;
    const auto digest = support::Run({{"/usr/bin/sha256sum", archive.string()}});
    ASSERT_EQ(digest.mExitCode, 0) << digest.mErrors;

    json::object module{{"version", "1.0"},
                        {"fits", json::array{"20.*"}},
                        {"archive", inAddress.empty() ? "file://" + archive.string() : inAddress},
                        {"sha256", digest.mOutput.substr(0, 64)},
                        {"size", fs::file_size(archive)}};
    if (!inConflict.empty()) module["conflicts"] = json::array{inConflict};
    std::ofstream(mBus.Folder() / "catalogues/QRTX.json") << json::serialize(
        json::object{{"schema", 1}, {"product", "QRTX"}, {"modules", json::object{{inModule, module}}}});
}

void OnDesktop::StartService() {
    support::Command command = Command({});
    command.mArguments = {ZARND_PROGRAM};
    mService = std::make_unique<support::ChildProcess>(command);
    ASSERT_TRUE(mService->AwaitErrors("serving as zarnd-")) << mService->Errors();
}

void OnDesktop::KillService() {
    mService->Signal(SIGKILL);
    mService->Wait();
    AwaitGone("zarnd-");
}

int OnDesktop::ServiceOnBus() const {
    std::istringstream lines(Run({"endpoints", "--json"}).mOutput);
    for (std::string line; std::getline(lines, line);) {
        const json::value endPoint = json::parse(line);
        if (endPoint.at("app_id").as_string().starts_with("zarnd-")) {
            return static_cast<int>(endPoint.at("pid").as_int64());
        }
    }
    return 0;
}

void OnDesktop::AwaitGone(const std::string& inAppIdPrefix) const {
    Await("it is still on the bus", [&] {
        return Run({"endpoints", "--json"}).mOutput.find("\"" + inAppIdPrefix) == std::string::npos;
    });
}

void OnDesktop::AwaitIn(const std::string& inFile, const std::string& inText) const {
    Await(inText.c_str(), [&] { return Read(Data() / inFile).find(inText) != std::string::npos; });
}

}  // namespace tool_test
