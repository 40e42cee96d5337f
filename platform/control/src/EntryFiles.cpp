#include "EntryFiles.h"

#include <glib.h>
#include <sys/stat.h>

#include <set>
#include <system_error>
#include <utility>

#include "FolderNames.h"
#include "Trouble.h"

namespace orvane::plexa::control {

namespace {

constexpr std::size_t kMostFiles = 20000;
constexpr std::size_t kMostFolders = 2000;
constexpr int kDeepest = 8;
constexpr std::string_view kSuffix = ".desktop";

class Lister {
  public:
    EntryListing Take() { return std::move(mListing); }

    void Visit(const std::string& inFolder, const std::string& inPrefix, int inDepth) {
        if (mListing.mFolders.size() == kMostFolders) return;
        const FileState state = StateOf(inFolder);
        // Before it is read, so that what changes meanwhile shows.
        const std::size_t place = mListing.mFolders.size();
        mListing.mFolders.push_back({inFolder, state, IsSettled(state)});
        if (!S_ISDIR(state.mMode) || !mSeen.emplace(state.mDevice, state.mNode).second) return;
        std::vector<std::string> names;
        try {
            names = NamesIn(inFolder);
        } catch (const std::system_error& error) {
            TraceTrouble(error.what());
            mListing.mFolders[place].mIsSettled = false;
        }
        const std::string folder = inFolder + '/';
        for (const std::string& name : names) Add(folder + name, inPrefix + name, inDepth);
    }

  private:
    void Add(const std::string& inPath, const std::string& inId, int inDepth) {
        const FileState state = StateOf(inPath);
        const bool isFolder = S_ISDIR(state.mMode);
        if (!isFolder && inId.ends_with(kSuffix)) {
            if (mListing.mFiles.size() != kMostFiles && mIds.insert(inId).second)
                mListing.mFiles.push_back({inPath, state});
        } else if (inDepth != kDeepest && (isFolder || state == FileState())) {
            // What can't be looked at, such as a link to nowhere, may turn out to be a folder.
            Visit(inPath, inId + '-', inDepth + 1);
        }
    }

    EntryListing mListing;
    std::set<std::pair<std::uint64_t, std::uint64_t>> mSeen;
    std::set<std::string> mIds;
};

}  // namespace

EntryListing ListEntries(const std::vector<std::string>& inDataFolders) {
    Lister lister;
    for (const std::string& folder : inDataFolders) lister.Visit(folder + "/applications", {}, 1);
    return lister.Take();
}

std::vector<std::string> DataFolders() {
    std::vector<std::string> folders{g_get_user_data_dir()};
    for (const char* const* folder = g_get_system_data_dirs(); *folder != nullptr; ++folder)
        folders.emplace_back(*folder);
    // Other launchers name entries without what may stand at the end here.
    for (std::string& folder : folders)
        while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
    return folders;
}

}  // namespace orvane::plexa::control
