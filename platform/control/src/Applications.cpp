#include "Applications.h"

#include <sys/stat.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "SmallFile.h"
#include "Trouble.h"

namespace orvane::plexa::control {

namespace {

// What is no regular file, isn't ours to read or is too large is none of ours. Pipes and devices aren't even
// opened: some do things then.
ParsedEntry ReadEntry(const EntryFile& inFile) {
    const std::optional<std::string> text =
        S_ISREG(inFile.mState.mMode) ? ReadSmallFile(inFile.mPath, kLargestEntry) : std::nullopt;
    return text ? ParseEntry(*text) : OtherEntry();
}

}  // namespace

std::optional<Application> Applications::Find(std::string_view inAppId) {
    Refresh(inAppId);
    std::optional<Application> found = FindKnown(inAppId);
    if (!found) {
        // That there is none is said only after a look at all of them.
        RefreshAll();
        found = FindKnown(inAppId);
    }
    return found;
}

std::vector<std::string> Applications::AppIds() {
    RefreshAll();
    std::vector<std::string> ids;
    for (const auto& [id, entries] : mClaims)
        if (FindKnown(id)) ids.push_back(id);
    return ids;
}

std::vector<KnownEntry> Applications::Known() const {
    std::vector<KnownEntry> known;
    for (const auto& [path, entry] : mEntries)
        if (const auto* const described = std::get_if<DesktopEntry>(&entry.mParsed))
            known.push_back({*described, path});
    return known;
}

std::optional<Application> Applications::FindKnown(std::string_view inAppId) const {
    const auto claims = mClaims.find(inAppId);
    if (claims == mClaims.end()) return std::nullopt;
    for (const auto* const entry : claims->second)
        if (auto found = FindApplication(std::get<DesktopEntry>(entry->second.mParsed), entry->first))
            return found;
    return std::nullopt;
}

void Applications::Refresh(std::string_view inAppId) {
    if (!mIsBuilt || Clock::now() - mLooked >= kLookPeriod) return RefreshAll();
    if (!AreFoldersUnchanged() || !AreClaimsUnchanged(inAppId)) Rebuild();
}

void Applications::RefreshAll() {
    if (!mIsBuilt || !AreFoldersUnchanged() || !AreEntriesUnchanged()) Rebuild();
    mLooked = Clock::now();
}

bool Applications::IsUnchanged(const Entries::value_type& inEntry) {
    return inEntry.second.mIsSettled && StateOf(inEntry.first) == inEntry.second.mState;
}

bool Applications::AreFoldersUnchanged() const {
    return mAreFoldersSettled && std::all_of(mFolders.begin(), mFolders.end(), [](const auto& inFolder) {
               return StateOf(inFolder.mPath) == inFolder.mState;
           });
}

bool Applications::AreEntriesUnchanged() const {
    return std::all_of(mEntries.begin(), mEntries.end(), IsUnchanged);
}

bool Applications::AreClaimsUnchanged(std::string_view inAppId) const {
    const auto claims = mClaims.find(inAppId);
    return claims == mClaims.end() || std::all_of(claims->second.begin(), claims->second.end(),
                                                  [](const auto* inEntry) { return IsUnchanged(*inEntry); });
}

Applications::Entry Applications::Look(const EntryFile& inFile) {
    Entry entry{inFile.mState, IsSettled(inFile.mState), OtherEntry()};
    try {
        entry.mParsed = ReadEntry(inFile);
        if (const auto* const broken = std::get_if<BrokenEntry>(&entry.mParsed))
            TraceTrouble("\"" + inFile.mPath + "\" is left out: " + broken->mReason);
    } catch (const std::system_error& error) {
        TraceTrouble(error.what());
        entry.mIsSettled = false;
    }
    return entry;
}

void Applications::Rebuild() {
    EntryListing listing = ListEntries(mDataFolders);
    Entries entries;
    Claims claims;
    for (const EntryFile& file : listing.mFiles) {
        const auto known = mEntries.find(file.mPath);
        const bool isKnown =
            known != mEntries.end() && known->second.mIsSettled && known->second.mState == file.mState;
        const auto& kept = *entries.emplace(file.mPath, isKnown ? known->second : Look(file)).first;
        if (const auto* const described = std::get_if<DesktopEntry>(&kept.second.mParsed))
            claims[described->mAppId].push_back(&kept);
    }
    mAreFoldersSettled = std::all_of(listing.mFolders.begin(), listing.mFolders.end(),
                                     [](const auto& inFolder) { return inFolder.mIsSettled; });
    mFolders = std::move(listing.mFolders);
    mEntries = std::move(entries);
    mClaims = std::move(claims);
    mIsBuilt = true;
    mLooked = Clock::now();
}

}  // namespace orvane::plexa::control
