/// What a desktop entry says of an application of this bus. No I/O. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "CommandLine.h"

namespace orvane::plexa::control {

/// The key of the group "Desktop Entry" that carries an application's app id.
inline constexpr const char* kAppIdKey = "X-Plexa-AppId";

/// Bytes of an entry file; larger ones are no entries.
inline constexpr std::size_t kLargestEntry = std::size_t{1} << 20U;

struct DesktopEntry {
    std::string mAppId;
    Words mCommand;    ///< at least one word; field codes not yet filled in
    std::string mTry;  ///< a program that must be there too; may be empty
    std::string mName;
    std::string mIcon;
    std::string mFolder;  ///< where it starts; empty: where who starts it is
    bool mInTerminal = false;
};

/// A file that is no business of ours: no application, none of this bus, or one that is hidden.
struct OtherEntry {};

/// A file that claims to be an application of this bus, and why it can't be one.
struct BrokenEntry {
    std::string mReason;
};

using ParsedEntry = std::variant<OtherEntry, BrokenEntry, DesktopEntry>;

/// Whether a text can be an app id: 1 to 255 bytes of UTF-8 without control characters.
bool IsAppId(std::string_view inText);

/// Reads the text of an entry file.
ParsedEntry ParseEntry(std::string_view inText);

}  // namespace orvane::plexa::control
