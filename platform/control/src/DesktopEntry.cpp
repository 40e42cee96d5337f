#include "DesktopEntry.h"

#include <glib.h>

#include <memory>
#include <optional>
#include <utility>

namespace orvane::plexa::control {

namespace {

constexpr std::size_t kLongestAppId = 255;

class Group {
  public:
    // Nothing can be asked for unless this succeeds.
    bool Read(std::string_view inText) {
        return g_key_file_load_from_data(mFile.get(), inText.data(), inText.size(), G_KEY_FILE_NONE,
                                         nullptr) != FALSE;
    }
    [[nodiscard]] std::string Text(const char* inKey) const {
        return Take(g_key_file_get_string(mFile.get(), G_KEY_FILE_DESKTOP_GROUP, inKey, nullptr));
    }
    [[nodiscard]] std::string LocalText(const char* inKey) const {
        return Take(
            g_key_file_get_locale_string(mFile.get(), G_KEY_FILE_DESKTOP_GROUP, inKey, nullptr, nullptr));
    }
    [[nodiscard]] bool Flag(const char* inKey) const {
        return g_key_file_get_boolean(mFile.get(), G_KEY_FILE_DESKTOP_GROUP, inKey, nullptr) != FALSE;
    }
    [[nodiscard]] bool Has(const char* inKey) const {
        return g_key_file_has_key(mFile.get(), G_KEY_FILE_DESKTOP_GROUP, inKey, nullptr) != FALSE;
    }

  private:
    static std::string Take(char* inText) {
        const std::unique_ptr<char, decltype(&g_free)> owner(inText, &g_free);
        return inText != nullptr ? inText : "";
    }

    std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> mFile{g_key_file_new(), &g_key_file_free};
};

}  // namespace

bool IsAppId(std::string_view inText) {
    if (inText.empty() || inText.size() > kLongestAppId ||
        g_utf8_validate(inText.data(), static_cast<gssize>(inText.size()), nullptr) == FALSE)
        return false;
    const char* const end = inText.data() + inText.size();
    for (const char* at = inText.data(); at != end; at = g_utf8_next_char(at))
        if (g_unichar_iscntrl(g_utf8_get_char(at)) != FALSE) return false;
    return true;
}

ParsedEntry ParseEntry(std::string_view inText) {
    Group group;
    if (!group.Read(inText)) {
        // Most files in these folders are none of ours, broken ones too.
        if (inText.find(kAppIdKey) == std::string_view::npos) return OtherEntry();
        return BrokenEntry{"it can't be read as a desktop entry"};
    }
    if (!group.Has(kAppIdKey) || group.Flag(G_KEY_FILE_DESKTOP_KEY_HIDDEN)) return OtherEntry();
    if (group.Text(G_KEY_FILE_DESKTOP_KEY_TYPE) != G_KEY_FILE_DESKTOP_TYPE_APPLICATION)
        return BrokenEntry{"its type isn't \"Application\""};
    DesktopEntry entry;
    entry.mAppId = group.Text(kAppIdKey);
    if (!IsAppId(entry.mAppId))
        return BrokenEntry{"its app id isn't 1 to 255 bytes of UTF-8 without control characters"};
    std::optional<Words> command = SplitWords(group.Text(G_KEY_FILE_DESKTOP_KEY_EXEC));
    if (!command || command->empty()) return BrokenEntry{"it has no command that can be read"};
    entry.mCommand = *std::move(command);
    // Codes stand for arguments only; which program is started can't depend on them.
    const std::string& program = entry.mCommand[ProgramWord(entry.mCommand)];
    if (program.find('%') != std::string::npos)
        return BrokenEntry{"its command names a program with a \"%\""};
    entry.mTry = group.Text(G_KEY_FILE_DESKTOP_KEY_TRY_EXEC);
    // Every host would find another one there.
    if (IsRelativePath(program) || IsRelativePath(entry.mTry))
        return BrokenEntry{"it names a program by a path that isn't absolute"};
    entry.mName = group.LocalText(G_KEY_FILE_DESKTOP_KEY_NAME);
    entry.mIcon = group.LocalText(G_KEY_FILE_DESKTOP_KEY_ICON);
    entry.mFolder = group.Text(G_KEY_FILE_DESKTOP_KEY_PATH);
    entry.mInTerminal = group.Flag(G_KEY_FILE_DESKTOP_KEY_TERMINAL);
    return entry;
}

}  // namespace orvane::plexa::control
