/// The applications of this bus that are installed on this desktop.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Application.h"
#include "EntryFiles.h"

namespace orvane::plexa::control {

/// Remembers what the entries said, and looks again at what has changed: every answer is that of the moment
/// in which it is given. One exception keeps answers quick where there are many entries: that an entry was
/// rewritten in place, and takes the app id of another one, is seen within a tenth of a second. One thread at
/// a time.
class Applications {
  public:
    explicit Applications(std::vector<std::string> inDataFolders) : mDataFolders(std::move(inDataFolders)) {}

    /// Of several entries that carry the app id, the first whose program is there.
    std::optional<Application> Find(std::string_view inAppId);
    /// The app ids for which `Find` finds something, sorted by their bytes.
    std::vector<std::string> AppIds();
    /// All entries, as of the last question.
    [[nodiscard]] std::vector<KnownEntry> Known() const;

  private:
    using Clock = std::chrono::steady_clock;

    struct Entry {
        FileState mState;
        bool mIsSettled = false;  // false also when it couldn't be read
        ParsedEntry mParsed;
    };
    using Entries = std::map<std::string, Entry>;  // by path
    using Claims = std::map<std::string, std::vector<const Entries::value_type*>, std::less<>>;

    static constexpr std::chrono::milliseconds kLookPeriod{100};

    /// Makes sure that what is remembered is true; of the entries looks only at those of inAppId if they were
    /// all looked at a moment ago.
    void Refresh(std::string_view inAppId);
    void RefreshAll();
    void Rebuild();
    static Entry Look(const EntryFile& inFile);
    std::optional<Application> FindKnown(std::string_view inAppId) const;
    [[nodiscard]] bool AreFoldersUnchanged() const;
    [[nodiscard]] bool AreEntriesUnchanged() const;
    [[nodiscard]] bool AreClaimsUnchanged(std::string_view inAppId) const;
    static bool IsUnchanged(const Entries::value_type& inEntry);

    std::vector<std::string> mDataFolders;
    bool mIsBuilt = false;
    Clock::time_point mLooked;  // when all entries were
    std::vector<EntryListing::Folder> mFolders;
    bool mAreFoldersSettled = false;
    Entries mEntries;
    Claims mClaims;  // the most important first
};

}  // namespace orvane::plexa::control
