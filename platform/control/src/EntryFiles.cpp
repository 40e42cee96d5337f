#include "EntryFiles.h"

#include <glib.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

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

// Whether a folder shows the system's state, where a link may lead to no end of folders that are always new.
bool IsSystemsOwn(const std::string& inFolder) {
    struct statfs status {};
    return ::statfs(inFolder.c_str(), &status) == 0 &&
           (status.f_type == PROC_SUPER_MAGIC || status.f_type == SYSFS_MAGIC);
}

class Lister {
  public:
    EntryListing Take() { return std::move(mListing); }

    void VisitDataFolder(const std::string& inDataFolder) {
        mFolders = 0;
        mFiles = 0;
        mIsCut = false;
        mSeen.clear();
        const std::string folder = inDataFolder + "/applications";
        Visit(folder, {}, 1);
        if (mIsCut)
            TraceTrouble("of \"" + folder + "\" a part is left out: there are more than " +
                         std::to_string(kMostFiles) + " entries or " + std::to_string(kMostFolders) +
                         " folders below it");
    }

  private:
    void Visit(const std::string& inFolder, const std::string& inPrefix, int inDepth) {
        if (mFolders == kMostFolders) {
            mIsCut = true;
            return;
        }
        ++mFolders;
        const FileState state = StateOf(inFolder);
        // Before it is read, so that what changes meanwhile shows.
        const std::size_t place = mListing.mFolders.size();
        mListing.mFolders.push_back({inFolder, state, IsSettled(state)});
        if (!S_ISDIR(state.mMode) || IsSystemsOwn(inFolder) ||
            !mSeen.emplace(state.mDevice, state.mNode).second)
            return;
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

    void Add(const std::string& inPath, const std::string& inId, int inDepth) {
        const FileState state = StateOf(inPath);
        const bool isFolder = S_ISDIR(state.mMode);
        if (!isFolder && inId.ends_with(kSuffix)) {
            if (mFiles == kMostFiles) {
                mIsCut = true;
            } else if (mIds.insert(inId).second) {
                ++mFiles;
                mListing.mFiles.push_back({inPath, state});
            }
        } else if (inDepth != kDeepest && (isFolder || state == FileState())) {
            // What can't be looked at, such as a link to nowhere, may turn out to be a folder.
            Visit(inPath, inId + '-', inDepth + 1);
        }
    }

    EntryListing mListing;
    // Of one data folder, so that none of them can crowd out the others.
    std::size_t mFolders = 0;
    std::size_t mFiles = 0;
    bool mIsCut = false;
    std::set<std::pair<std::uint64_t, std::uint64_t>> mSeen;

    std::set<std::string> mIds;
};

}  // namespace

EntryListing ListEntries(const std::vector<std::string>& inDataFolders) {
    Lister lister;
    for (const std::string& folder : inDataFolders) lister.VisitDataFolder(folder);
    return lister.Take();
}

std::vector<std::string> DataFolders() {
    std::vector<std::string> folders;
    const auto add = [&](std::string inFolder) {
        // What isn't absolute would be another folder in every host.
        if (!inFolder.starts_with('/')) return;
        // Other launchers name entries without what may stand at the end here.
        while (inFolder.size() > 1 && inFolder.ends_with('/')) inFolder.pop_back();
        folders.push_back(std::move(inFolder));
    };
    add(g_get_user_data_dir());
    for (const char* const* folder = g_get_system_data_dirs(); *folder != nullptr; ++folder) add(*folder);
    return folders;
}

}  // namespace orvane::plexa::control
