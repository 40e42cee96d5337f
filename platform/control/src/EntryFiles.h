/// The desktop entry files of this desktop.
#pragma once

#include <string>
#include <vector>

#include "FileState.h"

namespace orvane::plexa::control {

struct EntryFile {
    std::string mPath;
    FileState mState;
};

/// What the folders held, and how they were.
struct EntryListing {
    struct Folder {
        std::string mPath;
        FileState mState;
        bool mIsSettled = false;  ///< as of before it was read; false when it couldn't be
    };
    std::vector<Folder> mFolders;   ///< those that aren't there too
    std::vector<EntryFile> mFiles;  ///< the most important first
};

/// Lists the entries below the folders "applications" of the data folders, the most important first. Of files
/// that have the same name, with the folders between as its parts, the first counts only. Links to folders
/// are followed, each folder counts once in a data folder, and those that show the system's state (/proc,
/// /sys) not at all. Of each data folder it takes no more than 20,000 entries, 2,000 folders and 8 levels;
/// when there is more, that is traced.
EntryListing ListEntries(const std::vector<std::string>& inDataFolders);

/// The data folders of this user and system, the user's first, those that aren't absolute left out; from the
/// environment as it was when it was first asked for.
std::vector<std::string> DataFolders();

}  // namespace orvane::plexa::control
