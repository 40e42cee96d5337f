#include "PrivateDesktop.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <variant>

#include "support/ChildProcess.h"

namespace orvane::plexa::control {

namespace fs = std::filesystem;

namespace {

fs::path NewFolder() {
    std::string pattern = (fs::canonical(fs::temp_directory_path()) / "plexa-desktop-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a directory");
    return pattern;
}

// Whatever runs a file below a folder, or was started with one.
void EndProcessesOf(const fs::path& inFolder) {
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        const int id = std::atoi(entry->path().filename().c_str());
        if (id == 0 || id == ::getpid()) continue;
        std::error_code none;
        if (fs::read_symlink(entry->path() / "exe", none).string().starts_with(inFolder.string()) ||
            ReadFile(entry->path() / "cmdline").find(inFolder.string()) != std::string::npos)
            ::kill(id, SIGKILL);
    }
}

}  // namespace

PrivateDesktop::PrivateDesktop() : mFolder(NewFolder()) {
    for (const char* const folder : {"user/applications", "system/applications", "bin"})
        fs::create_directories(mFolder / folder);
}

PrivateDesktop::~PrivateDesktop() {
    EndProcessesOf(mFolder);
    std::error_code ignored;
    fs::remove_all(mFolder, ignored);
}

std::vector<std::string> PrivateDesktop::DataFolders() const {
    return {(mFolder / "user").string(), (mFolder / "system").string()};
}

fs::path PrivateDesktop::EntryPath(const std::string& inName, bool inSystem) const {
    return mFolder / (inSystem ? "system" : "user") / "applications" / (inName + ".desktop");
}

fs::path PrivateDesktop::WriteEntry(const std::string& inName, const std::string& inAppId,
                                    const std::string& inExec, const std::string& inMore,
                                    bool inSystem) const {
    const fs::path path = EntryPath(inName, inSystem);
    WriteFile(path, "[Desktop Entry]\nType=Application\nName=Test\nX-Plexa-AppId=" + inAppId +
                        "\nExec=" + inExec + "\n" + inMore);
    return path;
}

fs::path PrivateDesktop::MakeScript(const std::string& inName, const std::string& inText) const {
    const fs::path path = mFolder / "bin" / inName;
    WriteFile(path, inText);
    fs::permissions(path, fs::perms::owner_all);
    return path;
}

fs::path PrivateDesktop::MakeSleeper(const std::string& inName) const {
    const fs::path path = mFolder / "bin" / inName;
    fs::copy_file("/bin/sleep", path);
    return path;
}

Application PrivateDesktop::Read(const fs::path& inEntry) {
    const auto entry = std::get<DesktopEntry>(ParseEntry(ReadFile(inEntry)));
    return FindApplication(entry, inEntry.string()).value();
}

namespace {

// Sanitizers need a descriptor when they first meet an object of a class, so they should have met this one.
void MeetFailure() {
    const std::system_error known(EMFILE, std::generic_category());
    (void)static_cast<const std::runtime_error&>(known).what();
    (void)static_cast<const std::exception&>(known).what();
}

}  // namespace

NoDescriptors::NoDescriptors() {
    MeetFailure();
    ::getrlimit(RLIMIT_NOFILE, &mBefore);
    rlimit none = mBefore;
    none.rlim_cur = 0;
    if (::setrlimit(RLIMIT_NOFILE, &none) != 0) throw std::runtime_error("cannot set the limit");
}

NoDescriptors::~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &mBefore); }

void WriteFile(const fs::path& inPath, std::string_view inText) {
    std::ofstream file(inPath, std::ios::binary | std::ios::trunc);
    file << inText;
    if (!file.flush()) throw std::runtime_error("cannot write " + inPath.string());
}

std::string ReadFile(const fs::path& inPath) {
    // An iterator would throw when it's the file of a process that ends meanwhile.
    std::ostringstream text;
    text << std::ifstream(inPath, std::ios::binary).rdbuf();
    return text.str();
}

bool Await(const std::function<bool()>& inCondition) {
    const auto limit = std::chrono::steady_clock::now() + support::kPatience;
    while (!inCondition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace orvane::plexa::control
