/// An installed application.
#pragma once

#include <optional>
#include <string>

#include "DesktopEntry.h"

namespace orvane::plexa::control {

/// A desktop entry of this bus; whether its program is there isn't said.
struct KnownEntry {
    DesktopEntry mEntry;
    std::string mFile;
};

struct Application {
    DesktopEntry mEntry;
    std::string mEntryFile;
    std::string mProgram;   ///< as the command names it, absolute
    std::string mPath;      ///< what is told of it; UTF-8
    std::string mResolved;  ///< the file behind it, links resolved; any bytes
};

/// A program that may be executed.
struct Program {
    std::string mName;  ///< absolute
    std::string mPath;  ///< the file behind it, links resolved
};

/// Looks for a program, in the search path unless the name is a path. Both empty when there is none. Any
/// thread.
Program FindProgram(const std::string& inName);

/// Looks for the program that an entry starts: nothing when it, or the one that must be there too, is gone.
/// Any thread.
std::optional<Application> FindApplication(const DesktopEntry& inEntry, const std::string& inEntryFile);

}  // namespace orvane::plexa::control
