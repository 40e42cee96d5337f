/// Command lines as words: those of desktop entries, and the arguments that a host gives. No I/O. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::plexa::control {

using Words = std::vector<std::string>;

/// The words of a text that is quoted as for a POSIX shell; nothing is expanded. A blank text has none.
/// Nothing when a quote isn't closed.
std::optional<Words> SplitWords(std::string_view inText);

/// Which word of a desktop entry's command names its program: the first, or the one behind "env" and the
/// variables that it sets. inWords isn't empty.
std::size_t ProgramWord(const Words& inWords);

/// Whether a program's name is a path that depends on the folder where a process is.
bool IsRelativePath(std::string_view inName);

/// What a command's field codes stand for.
struct FieldValues {
    std::string_view mName;  ///< %c
    std::string_view mIcon;  ///< %i, as "--icon" and this; nothing when empty
    std::string_view mFile;  ///< %k
};

/// A command of a desktop entry with its field codes filled in. The arguments stand where it takes files or
/// addresses (%f, %F, %u, %U), otherwise at its end.
Words FillIn(const Words& inCommand, const FieldValues& inValues, const Words& inArguments);

}  // namespace orvane::plexa::control
