#include "Process.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <limits>
#include <string_view>
#include <system_error>

#include "LaunchMark.h"
#include "SmallFile.h"

namespace orvane::plexa::control {

namespace {

constexpr std::size_t kLargestFile = std::size_t{4} << 20U;

// Texts that each end with a zero.
Words SplitZeros(std::string_view inText) {
    Words words;
    while (!inText.empty()) {
        const std::string_view word = inText.substr(0, inText.find('\0'));
        words.emplace_back(word);
        inText.remove_prefix(std::min(inText.size(), word.size() + 1));
    }
    return words;
}

}  // namespace

bool Process::IsOf(uid_t inUser) const {
    struct stat status {};
    return ::stat(mFolder.c_str(), &status) == 0 && status.st_uid == inUser;
}

const std::string& Process::Executable() {
    return mExecutable.Get([this] {
        std::error_code error;
        return std::filesystem::read_symlink(mFolder + "/exe", error).string();
    });
}

const Words& Process::CommandLine() {
    return mCommandLine.Get([this] { return SplitZeros(Read("/cmdline")); });
}

const std::string& Process::Entry() {
    return mEntry.Get([this] { return std::string(LaunchedEntryFile(Read("/environ"), mId)); });
}

std::uint64_t Process::Start() {
    return mStart.Get([this] { return ReadStart(); });
}

std::uint64_t Process::ReadStart() const {
    constexpr int kFieldsBetween = 19;
    const std::string status = Read("/stat");
    // The name before it may hold anything.
    std::size_t place = status.rfind(')');
    for (int i = 0; i <= kFieldsBetween && place != std::string::npos; ++i)
        place = status.find(' ', place + 1);
    std::uint64_t start = std::numeric_limits<std::uint64_t>::max();
    if (place != std::string::npos)
        std::from_chars(status.data() + place + 1, status.data() + status.size(), start);
    return start;
}

std::string Process::Read(const char* inName) const {
    return ReadUnlessOdd([&] { return ReadSmallFile(mFolder + inName, kLargestFile).value_or(""); });
}

}  // namespace orvane::plexa::control
