#include "Launch.h"

#include <glib.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <optional>

#include "LaunchMark.h"
#include "Trouble.h"

namespace orvane::plexa::control {

namespace {

// Room for every process id, with zeros before it.
constexpr std::string_view kIdPlace = "0000000000";
constexpr std::size_t kMostSignals = 65;

std::vector<char*> Pointers(Words& inWords) {
    std::vector<char*> pointers;
    for (std::string& word : inWords) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

Words Environment(const Application& inApplication) {
    const std::unique_ptr<char*, decltype(&g_strfreev)> all(g_get_environ(), &g_strfreev);
    Words environment;
    for (char** entry = all.get(); *entry != nullptr; ++entry)
        if (!std::string_view(*entry).starts_with(kLaunchFileVariable)) environment.emplace_back(*entry);
    // The process that is started would be the terminal's, and another one the application's.
    if (inApplication.mEntry.mInTerminal) return environment;
    environment.push_back(LaunchMark(inApplication.mEntryFile));
    environment.push_back(std::string(kLaunchProcessVariable) + '=' + std::string(kIdPlace));
    return environment;
}

// Where a new process writes its id; null when its environment has no place for it.
char* IdPlace(Words& ioEnvironment) {
    const bool isMarked = !ioEnvironment.empty() && ioEnvironment.back().starts_with(kLaunchProcessVariable);
    return isMarked ? ioEnvironment.back().data() + kLaunchProcessVariable.size() + 1 : nullptr;
}

// The command line: with a terminal before it if the entry wants one, and nothing when there is none.
std::optional<Words> CommandLine(const Application& inApplication, const Words& inArguments) {
    const DesktopEntry& entry = inApplication.mEntry;
    Words words = FillIn(entry.mCommand, {entry.mName, entry.mIcon, inApplication.mEntryFile}, inArguments);
    words[ProgramWord(entry.mCommand)] = inApplication.mProgram;
    if (entry.mInTerminal) {
        const std::unique_ptr<char, decltype(&g_free)> terminal(g_find_program_in_path("x-terminal-emulator"),
                                                                &g_free);
        if (terminal == nullptr) return std::nullopt;
        words.insert(words.begin(), {terminal.get(), "-e"});
    }
    return words;
}

// Runs in the new process before its program does, where only little is allowed.
void PrepareProcess(void* ioIdPlace) {
    ::setsid();
    for (int signal = 1; signal != kMostSignals; ++signal) ::signal(signal, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);  // NOLINT(concurrency-mt-unsafe): it has one thread
    if (ioIdPlace == nullptr) return;
    auto* place = static_cast<char*>(ioIdPlace) + kIdPlace.size();
    auto id = static_cast<unsigned>(::getpid());
    char* end = place;
    do {
        *--place = static_cast<char>('0' + id % 10);
        id /= 10;
    } while (id != 0);
    // The digits move to the front, as the number is written without zeros before it.
    char* to = static_cast<char*>(ioIdPlace);
    while (place != end) *to++ = *place++;
    *to = '\0';
}

}  // namespace

bool Launch(const Application& inApplication, const Words& inArguments) {
    std::optional<Words> command = CommandLine(inApplication, inArguments);
    if (!command) {
        TraceTrouble("\"" + inApplication.mEntry.mAppId + "\" isn't started: there is no terminal for it");
        return false;
    }
    Words environment = Environment(inApplication);
    char* const idPlace = IdPlace(environment);
    std::vector<char*> words = Pointers(*command);
    std::vector<char*> variables = Pointers(environment);
    const std::string& folder = inApplication.mEntry.mFolder;
    GError* error = nullptr;
    // Without a flag that says otherwise there is a process between, whose end makes the new one nobody's
    // child.
    const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL |
                                                G_SPAWN_STDERR_TO_DEV_NULL);
    if (g_spawn_async(folder.empty() ? nullptr : folder.c_str(), words.data(), variables.data(), flags,
                      PrepareProcess, idPlace, nullptr, &error) != FALSE)
        return true;
    TraceTrouble("\"" + inApplication.mEntry.mAppId + "\" isn't started: " + error->message);
    g_error_free(error);
    return false;
}

}  // namespace orvane::plexa::control
