#include "program/Options.h"

#include <CLI/CLI.hpp>

#include "xdg/ConfigurationFolders.h"

namespace orvane::plexa::zarnd {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t kIdleExitOnDemand = 300;
constexpr std::int64_t kLongestIdleExit = std::int64_t{365} * 24 * 3600;

constexpr const char* kExamples =
    "Examples:\n"
    "  zarnd                                  serve until stopped, log to the terminal\n"
    "  zarnd --idle-exit 300                  leave after five minutes with nothing to do\n"
    "  zarnd --catalogue-dir ./catalogues --data-dir /tmp/try\n"
    "                                         try out catalogues without touching what is installed\n\n"
    "Catalogues are files PRODUCT.json. One service runs for each data folder, and on each bus.\n"
    "Exit codes: 0 stopped, idle, or another one serves the data folder; 1 failed; 2 wrong arguments;\n"
    "3 another one serves the bus.";

std::vector<fs::path> CatalogueFoldersOf(const Environment& inEnvironment) {
    const std::string chosen = inEnvironment("ZARND_CATALOGUE_DIR");
    if (!chosen.empty()) return {fs::absolute(chosen)};
    std::vector<fs::path> folders;
    for (const std::string& folder : xdg::ConfigurationFolders(
             inEnvironment("XDG_CONFIG_HOME"), inEnvironment("HOME"), inEnvironment("XDG_CONFIG_DIRS"))) {
        folders.push_back(fs::path(folder) / "orvane/zarnd/catalogues");
    }
    return folders;
}

// Empty when the environment names none.
fs::path DataFolderOf(const Environment& inEnvironment) {
    const std::string data = inEnvironment("XDG_DATA_HOME");
    if (data.starts_with('/')) return fs::path(data) / "orvane/zarnd";
    const std::string home = inEnvironment("HOME");
    return home.starts_with('/') ? fs::path(home) / ".local/share/orvane/zarnd" : fs::path();
}

}  // namespace

ParsedOptions ParseOptions(std::span<const char* const> inArguments, const Environment& inEnvironment,
                           std::ostream& outOutput, std::ostream& outErrors) {
    Options options;
    std::string catalogues;
    std::string data;
    std::string authorities;
    std::optional<std::int64_t> idleExit;
    const auto isFilled = [](const std::string& inText) { return inText.empty() ? "must not be empty" : ""; };

    CLI::App app("Installs add-on modules for the applications of one user.", "zarnd");
    app.footer(kExamples);
    app.set_version_flag("--version", std::string("zarnd ") + ZARND_VERSION);
    app.add_option(
           "--catalogue-dir", catalogues,
           "Folder of the catalogues (default: $ZARND_CATALOGUE_DIR, else orvane/zarnd/catalogues in the XDG "
           "configuration folders)")
        ->check(isFilled);
    app.add_option(
           "--data-dir", data,
           "Folder of what is installed (default: orvane/zarnd in $XDG_DATA_HOME, else in ~/.local/share)")
        ->check(isFilled);
    app.add_option("--ca-file", authorities,
                   "File of certificates (PEM) that are trusted in place of the system's, for archives at "
                   "https addresses (default: $ZARND_CA_FILE, else the system's)")
        ->check(isFilled);
    app.add_option(
           "--idle-exit", idleExit,
           "Leave after this many seconds with nothing to do, 0: never (default: 0, with --on-demand 300)")
        ->check(CLI::Range(std::int64_t{0}, kLongestIdleExit));
    app.add_flag("--on-demand", options.mIsOnDemand,
                 "Started by a program: own session, log to zarnd.log in the data folder, leave when idle");
    try {
        app.parse(static_cast<int>(inArguments.size()), inArguments.data());
    } catch (const CLI::ParseError& error) {
        return {std::nullopt, app.exit(error, outOutput, outErrors) == 0 ? kExitSuccess : kExitUsage};
    }
    options.mIdleExit =
        std::chrono::seconds(idleExit.value_or(options.mIsOnDemand ? kIdleExitOnDemand : std::int64_t{0}));
    options.mCatalogues = catalogues.empty() ? CatalogueFoldersOf(inEnvironment)
                                             : std::vector<fs::path>{fs::absolute(catalogues)};
    if (authorities.empty()) authorities = inEnvironment("ZARND_CA_FILE");
    if (!authorities.empty()) options.mAuthorities = fs::absolute(authorities);
    options.mData = data.empty() ? DataFolderOf(inEnvironment) : fs::absolute(data);
    if (options.mData.empty()) {
        outErrors << "zarnd: there is no home for what is installed: set HOME, XDG_DATA_HOME or --data-dir\n";
        return {std::nullopt, kExitUsage};
    }
    return {options, kExitSuccess};
}

}  // namespace orvane::plexa::zarnd
