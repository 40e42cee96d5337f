/// The modules that are installed, as they lie on disk.
///
///     ROOT/PRODUCT/MODULE/current -> g-XXXXXX      what counts: changed by one rename
///     ROOT/PRODUCT/MODULE/g-XXXXXX/manifest.json   what it is
///     ROOT/PRODUCT/MODULE/g-XXXXXX/files.jsonl     what its files should be
///     ROOT/PRODUCT/MODULE/g-XXXXXX/files/...       its files
///
/// A folder beside "current" that it doesn't point to is left over from work that was interrupted, or on its
/// way, or what was installed before: hosts that run may still use that.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "install/Manifest.h"

namespace orvane::plexa::zarnd {

/// The list of a module's files, beside its folder "files".
inline constexpr const char* kListName = "files.jsonl";

/// A folder for a module that is being made; it is removed with this object unless it has been taken over.
class StagedModule {
  public:
    explicit StagedModule(std::filesystem::path inFolder) : mFolder(std::move(inFolder)) {}
    StagedModule(StagedModule&& inOther) noexcept : mFolder(std::exchange(inOther.mFolder, {})) {}
    StagedModule& operator=(StagedModule&&) = delete;
    ~StagedModule();

    [[nodiscard]] std::filesystem::path Files() const { return mFolder / "files"; }
    /// Where the list of the files belongs.
    [[nodiscard]] std::filesystem::path List() const { return mFolder / kListName; }

  private:
    friend class ModuleStore;
    std::filesystem::path mFolder;
};

/// Something that is not as it was installed.
struct Damage {
    std::string mPath;
    std::string mWhat;
};

/// Any thread; one at a time for one module. Operations throw `Failure` when the system refuses.
class ModuleStore {
  public:
    explicit ModuleStore(std::filesystem::path inRoot) : mRoot(std::move(inRoot)) {}

    /// What is installed; nothing when there isn't, or what is there can't be read.
    [[nodiscard]] std::optional<Manifest> Installed(const std::string& inProduct,
                                                    const std::string& inModule) const;
    /// All that is installed, in order; of one product, or of all with an empty code.
    [[nodiscard]] std::vector<Manifest> List(const std::string& inProduct) const;
    /// Where hosts find a module's files; stays through updates.
    [[nodiscard]] std::filesystem::path Files(const std::string& inProduct,
                                              const std::string& inModule) const;
    /// Where the installed module's manifest stands.
    [[nodiscard]] std::filesystem::path ManifestPath(const std::string& inProduct,
                                                     const std::string& inModule) const;

    /// A new, empty folder.
    StagedModule Stage(const std::string& inProduct, const std::string& inModule) const;
    /// Writes all of it to the disk, with the manifest. Nothing has changed for anybody else yet.
    static void Complete(const StagedModule& inStaged, const Manifest& inManifest);
    /// From one moment to the next the staged module is the installed one. What was before stays beside it
    /// until the next `Switch` or `Sweep`; what was before that is removed. When it throws, nothing has
    /// changed.
    void Switch(StagedModule inStaged, const std::string& inProduct, const std::string& inModule) const;

    /// Takes a module away, from one moment to the next. False when there is none.
    bool Remove(const std::string& inProduct, const std::string& inModule) const;

    /// Compares the files with the manifest: what is missing, different, or not part of it, `inMost` at most.
    /// Throws `Failure` (`kNotInstalled`), or `Cancelled` when `inStop` is asked for.
    [[nodiscard]] std::vector<Damage> Verify(const std::string& inProduct, const std::string& inModule,
                                             std::size_t inMost, const std::stop_token& inStop = {}) const;

    /// Removes all that is not installed. While nothing else uses the store.
    void Sweep() const;

  private:
    [[nodiscard]] std::filesystem::path Folder(const std::string& inProduct,
                                               const std::string& inModule) const {
        return mRoot / inProduct / inModule;
    }

    std::filesystem::path mRoot;
};

}  // namespace orvane::plexa::zarnd
