// Installs archives as the desktop service does, and by `curl | sha256sum | tar x`, in turns, and prints both
// times, their ratio, and the peak memory of the former: one of large files, whose bytes count, and one of
// many small ones. They come by HTTP from this machine.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "Archive.h"
#include "Processes.h"
#include "install/Install.h"

namespace fs = std::filesystem;
using namespace orvane::plexa::zarnd;

namespace {

class ScratchFolder {
  public:
    explicit ScratchFolder(const fs::path& inParent) {
        std::string pattern = (inParent / "bench-modules-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a folder");
        mPath = pattern;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(mPath, ignored);
    }
    [[nodiscard]] const fs::path& Path() const { return mPath; }

  private:
    fs::path mPath;
};

int InstallOnce(const ModuleSpec& inModule, const fs::path& inRoot) try {
    Install("BENCH", inModule, ModuleStore(inRoot), {},
            [](const std::vector<std::string>&) { return std::vector<std::string>(); },
            {[](InstallStep) {}, [](double) {}}, {});
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << std::endl;
    return 1;
}

// The same by commands: the digest is made and compared, the files are unpacked.
int RunCommands(const ModuleSpec& inModule, const fs::path& inFolder, bool inIsCompressed, bool inSyncs) {
    const std::string tar = std::string("tar x") + (inIsCompressed ? "z" : "");
    const std::string script =
        "set -o pipefail; cd '" + inFolder.string() +
        "' && rm -f ../pipe && mkfifo ../pipe && { sha256sum < ../pipe > ../sum & } && curl -s '" +
        inModule.mArchive + "' | tee ../pipe | " + tar + " && wait && grep -q " + inModule.mSha256 +
        " ../sum" + (inSyncs ? " && sync -f ." : "");
    ::execl("/bin/bash", "bash", "-c", script.c_str(), nullptr);
    return 1;
}

double Median(std::vector<double> inValues) {
    std::sort(inValues.begin(), inValues.end());
    return inValues[inValues.size() / 2];
}

void Print(const char* inName, const std::vector<double>& inTimes) {
    std::printf("%-28s median %.3f s  fastest %.3f  slowest %.3f\n", inName, Median(inTimes),
                *std::min_element(inTimes.begin(), inTimes.end()),
                *std::max_element(inTimes.begin(), inTimes.end()));
}

struct Choices {
    int mRounds = 9;
    bool mIsCompressed = false;
    fs::path mFolder = fs::temp_directory_path();
};

// Installs what the archive has, by the service and by commands in turns.
void Compare(const char* inTitle, const fs::path& inArchive, ModuleSpec inModule, const Choices& inChoices) {
    const fs::path folder = inArchive.parent_path();
    const bench::FileServer server(inArchive);
    inModule.mArchive = server.Address();
    std::vector<double> ours;
    std::vector<double> commands;
    std::vector<double> commandsWithSync;
    long peak = 0;
    for (int round = 0; round != inChoices.mRounds; ++round) {
        const fs::path modules = folder / "modules";
        const auto measured = bench::Measure([&] { return InstallOnce(inModule, modules); });
        ours.push_back(measured.mSeconds);
        peak = std::max(peak, measured.mPeakKiB);
        fs::remove_all(modules);
        for (const bool syncs : {false, true}) {
            const fs::path files = folder / "files";
            fs::create_directory(files);
            auto& times = syncs ? commandsWithSync : commands;
            times.push_back(bench::Measure([&] {
                                return RunCommands(inModule, files, inChoices.mIsCompressed, syncs);
                            }).mSeconds);
            fs::remove_all(files);
        }
    }
    std::puts(inTitle);
    Print("service", ours);
    Print("curl | sha256sum | tar", commands);
    Print("curl | sha256sum | tar, sync", commandsWithSync);
    std::printf("ratio %.2f, with sync %.2f; peak memory of the service's work %.1f MiB\n",
                Median(ours) / Median(commands), Median(ours) / Median(commandsWithSync),
                static_cast<double>(peak) / 1024);
}

}  // namespace

int main(int inCount, char** inArguments) {
    std::uint64_t mebibytes = 256;
    int files = 20'000;
    Choices choices;
    CLI::App app("Installs archives as the service does and by commands, in turns.");
    app.add_option("--size", mebibytes, "MiB of the archive of large files, 0 for none")
        ->capture_default_str();
    app.add_option("--files", files, "Files of the archive of small files, 0 for none")
        ->capture_default_str()
        ->check(CLI::Range(0, 190'000));
    app.add_option("--rounds", choices.mRounds, "Times each")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    app.add_flag("--gzip", choices.mIsCompressed, "Compress the archives");
    app.add_option("--folder", choices.mFolder, "Where to work")->capture_default_str();
    CLI11_PARSE(app, inCount, inArguments);
#ifdef BENCH_UNOPTIMISED
    std::puts("warning: built without optimisation");
#endif
    const ScratchFolder scratch(choices.mFolder);
    const fs::path archive = scratch.Path() / "archive";
    if (mebibytes > 0) {
        const auto module = bench::WriteLargeArchive(archive, mebibytes << 20U, choices.mIsCompressed);
        Compare(("large files, " + std::to_string(mebibytes) + " MiB").c_str(), archive, module, choices);
    }
    if (files > 0) {
        const auto module = bench::WriteArchiveOfFiles(archive, files, choices.mIsCompressed);
        Compare((std::to_string(files) + " small files").c_str(), archive, module, choices);
    }
    return 0;
}
