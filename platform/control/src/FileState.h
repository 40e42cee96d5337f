/// What tells whether a file or folder is still the one that was looked at.
#pragma once

#include <cstdint>
#include <string>

namespace orvane::plexa::control {

/// All zero for what isn't there.
struct FileState {
    std::uint64_t mDevice = 0;
    std::uint64_t mNode = 0;
    std::uint64_t mSize = 0;
    std::int64_t mChanged = 0;  ///< nanoseconds since 1970
    std::uint32_t mMode = 0;

    friend bool operator==(const FileState&, const FileState&) = default;
};

/// Follows symbolic links. Any thread.
FileState StateOf(const std::string& inPath) noexcept;

/// Whether a change after this state was taken would show in it: file systems count time in steps, so what
/// was changed a moment ago can be changed once more without a trace.
bool IsSettled(const FileState& inState) noexcept;

/// Throws `std::system_error`, with a text that names the file or folder, when an error of the system is one
/// of the moment, such as that no descriptor is free. Others say something of the file or folder itself,
/// which holds until that changes: it isn't there, or isn't ours to read.
void ThrowUnlessLasting(int inError, const std::string& inPath);

/// Whether an error of the system says that this process, or the system, has no descriptor or no memory left,
/// and so nothing of the file that was asked for.
bool IsShortage(int inError) noexcept;

}  // namespace orvane::plexa::control
