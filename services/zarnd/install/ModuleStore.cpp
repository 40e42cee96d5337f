#include "install/ModuleStore.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <system_error>

#include "common/Failure.h"
#include "common/Names.h"
#include "install/Disk.h"

namespace orvane::plexa::zarnd {

namespace fs = std::filesystem;

namespace {

constexpr const char* kCurrent = "current";
constexpr const char* kManifest = "manifest.json";
constexpr std::size_t kMaxManifestBytes = std::size_t{4} << 20U;

// Held from the moment an empty folder is made until it isn't empty any more, and while empty ones are
// removed.
std::mutex sEmptyFolders;

// Removing is tidying up: what fails is tried again by the next sweep.
void RemoveAll(const fs::path& inPath) {
    std::error_code ignored;
    fs::remove_all(inPath, ignored);
}

std::vector<fs::path> Entries(const fs::path& inFolder) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(inFolder, error), end; !error && entry != end; entry.increment(error)) {
        entries.push_back(entry->path());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

std::vector<fs::path> FoldersOf(const fs::path& inFolder) {
    std::vector<fs::path> folders = Entries(inFolder);
    std::erase_if(folders, [](const fs::path& inEntry) {
        std::error_code ignored;
        return !fs::is_directory(fs::symlink_status(inEntry, ignored)) ||
               !IsName(inEntry.filename().string());
    });
    return folders;
}

// Where "current" points to, in the module's own folder; empty without one. Nothing when that can't be told.
std::optional<fs::path> CurrentOf(const fs::path& inFolder) {
    std::error_code error;
    const fs::path target = fs::read_symlink(inFolder / kCurrent, error);
    if (error == std::errc::no_such_file_or_directory) return fs::path();
    if (error || !IsName(target.string())) return std::nullopt;
    return target;
}

// A module's folder and its product's, if there is nothing in them.
void RemoveEmpty(const fs::path& inFolder) {
    const std::lock_guard lock(sEmptyFolders);
    ::rmdir(inFolder.c_str());
    ::rmdir(inFolder.parent_path().c_str());
}

// Removes all of a module but what is installed, and what `inKept` names.
void SweepModule(const fs::path& inFolder, const fs::path& inKept) {
    const std::optional<fs::path> current = CurrentOf(inFolder);
    if (!current) return;  // any of it may be what is installed
    for (const fs::path& entry : Entries(inFolder)) {
        const fs::path name = entry.filename();
        const bool stays = !current->empty() && (name == kCurrent || name == *current || name == inKept);
        if (!stays) RemoveAll(entry);
    }
    RemoveEmpty(inFolder);
}

}  // namespace

StagedModule::~StagedModule() {
    if (mFolder.empty()) return;
    RemoveAll(mFolder);
    RemoveEmpty(mFolder.parent_path());
}

fs::path ModuleStore::Files(const std::string& inProduct, const std::string& inModule) const {
    return Folder(inProduct, inModule) / kCurrent / "files";
}

fs::path ModuleStore::ManifestPath(const std::string& inProduct, const std::string& inModule) const {
    return Folder(inProduct, inModule) / kCurrent / kManifest;
}

std::optional<Manifest> ModuleStore::Installed(const std::string& inProduct,
                                               const std::string& inModule) const {
    const fs::path folder = Folder(inProduct, inModule);
    const std::optional<fs::path> current = CurrentOf(folder);
    if (!current || current->empty()) return std::nullopt;
    const auto text = ReadFile(folder / *current / kManifest, kMaxManifestBytes);
    if (!text) return std::nullopt;
    try {
        Manifest manifest = ReadManifest(*text);
        if (manifest.mProduct != inProduct || manifest.mModule != inModule) return std::nullopt;
        return manifest;
    } catch (const ManifestError&) {
        return std::nullopt;
    }
}

std::vector<Manifest> ModuleStore::List(const std::string& inProduct) const {
    std::vector<Manifest> list;
    for (const fs::path& product : FoldersOf(mRoot)) {
        if (!inProduct.empty() && product.filename() != inProduct) continue;
        for (const fs::path& module : FoldersOf(product)) {
            auto manifest = Installed(product.filename().string(), module.filename().string());
            if (manifest) list.push_back(std::move(*manifest));
        }
    }
    return list;
}

StagedModule ModuleStore::Stage(const std::string& inProduct, const std::string& inModule) const {
    const fs::path folder = Folder(inProduct, inModule);
    std::unique_lock lock(sEmptyFolders);
    MakeFolders(folder);
    std::string pattern = (folder / "g-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw SystemFailure("cannot make a folder in " + folder.string(), errno);
    }
    lock.unlock();
    StagedModule staged{fs::path(pattern)};
    MakeFolders(staged.Files());
    return staged;
}

void ModuleStore::Complete(const StagedModule& inStaged, const Manifest& inManifest) {
    WriteFile(inStaged.mFolder / kManifest, WriteManifest(inManifest));
    SyncFileSystem(inStaged.mFolder);
}

void ModuleStore::Switch(StagedModule inStaged, const std::string& inProduct,
                         const std::string& inModule) const {
    const fs::path folder = Folder(inProduct, inModule);
    const fs::path before = CurrentOf(folder).value_or(fs::path());
    const fs::path name = inStaged.mFolder.filename();
    const fs::path link = folder / ("to-" + name.string());
    if (::symlink(name.c_str(), link.c_str()) != 0) {
        throw SystemFailure("cannot make " + link.string(), errno);
    }
    if (::rename(link.c_str(), (folder / kCurrent).c_str()) != 0) {
        const int error = errno;
        RemoveAll(link);
        throw SystemFailure("cannot make " + (folder / kCurrent).string(), error);
    }
    inStaged.mFolder.clear();
    SyncFolder(folder);
    SweepModule(folder, before);
}

bool ModuleStore::Remove(const std::string& inProduct, const std::string& inModule) const {
    const fs::path folder = Folder(inProduct, inModule);
    if (::unlink((folder / kCurrent).c_str()) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return false;
        throw SystemFailure("cannot remove " + (folder / kCurrent).string(), errno);
    }
    SyncFolder(folder);
    SweepModule(folder, {});
    return true;
}

void ModuleStore::Sweep() const {
    for (const fs::path& product : FoldersOf(mRoot)) {
        for (const fs::path& module : FoldersOf(product)) SweepModule(module, {});
        ::rmdir(product.c_str());
    }
}

}  // namespace orvane::plexa::zarnd
