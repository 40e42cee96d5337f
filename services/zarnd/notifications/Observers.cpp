#include "notifications/Observers.h"

#include <algorithm>

namespace orvane::plexa::zarnd {

Observers::Outcome Observers::Register(const Asker& inFrom, const Observer& inObserver) {
    const Table::key_type key{inFrom.mAppId, inFrom.mProcessId};
    const std::uint64_t start = mStartOf(inFrom.mProcessId);
    const auto known = mTable.find(key);
    // Another process had the id before, and has ended unnoticed.
    if (known != mTable.end() && known->second.mStart != start) mTable.erase(known);

    if (const auto found = mTable.find(key); found != mTable.end()) {
        auto& [startBefore, place, observers] = found->second;
        place = inFrom;
        const auto same = std::find_if(observers.begin(), observers.end(), [&](const Observer& inOther) {
            return inOther.mNamespace == inObserver.mNamespace;
        });
        if (same != observers.end()) {
            if (*same == inObserver) return Outcome::kNothingToDo;
            *same = inObserver;
            return Outcome::kDone;
        }
        if (observers.size() == kMaxOfProcess) return Outcome::kTooManyOfProcess;
    }
    if (CountAll() >= kMaxInAll) {
        // Who is away may never come back, and has no right to the place of those who are here.
        std::erase_if(mTable, [](const auto& inEntry) { return !inEntry.second.mPlace; });
        if (CountAll() >= kMaxInAll) return Outcome::kTooManyInAll;
    }
    OfProcess& process = mTable[key];
    process.mStart = start;
    process.mPlace = inFrom;
    process.mObservers.push_back(inObserver);
    return Outcome::kDone;
}

Observers::Outcome Observers::Unregister(const Asker& inFrom, const std::string& inNamespace) {
    const auto found = mTable.find({inFrom.mAppId, inFrom.mProcessId});
    if (found == mTable.end()) return Outcome::kNothingToDo;
    std::vector<Observer>& observers = found->second.mObservers;
    const auto removed = std::erase_if(
        observers, [&](const Observer& inObserver) { return inObserver.mNamespace == inNamespace; });
    if (observers.empty()) mTable.erase(found);
    return removed == 0 ? Outcome::kNothingToDo : Outcome::kDone;
}

bool Observers::OnEndPoints(const std::vector<Asker>& inEndPoints) {
    std::map<Table::key_type, Asker> places;
    for (const Asker& endPoint : inEndPoints) places[{endPoint.mAppId, endPoint.mProcessId}] = endPoint;
    const std::size_t before = mTable.size();
    for (auto entry = mTable.begin(); entry != mTable.end();) {
        std::optional<Asker>& place = entry->second.mPlace;
        const auto found = places.find(entry->first);
        const bool isWhereItWas = found != places.end() && place == found->second;
        // Gone, or come back: the id may be another process's by now.
        if (!isWhereItWas && !IsRunning(*entry)) {
            entry = mTable.erase(entry);
            continue;
        }
        place = found != places.end() ? std::optional(found->second) : std::nullopt;
        ++entry;
    }
    return mTable.size() != before;
}

Observers::LeftOut Observers::Restore(Table inKept) {
    LeftOut leftOut;
    for (auto& [key, process] : inKept) {
        const std::size_t count = process.mObservers.size();
        if (count == 0) continue;
        if (!IsRunning({key, process})) {
            leftOut.mEnded += count;
        } else if (count > kMaxOfProcess || CountAll() + count > kMaxInAll) {
            leftOut.mTooMany += count;
        } else {
            process.mPlace.reset();
            mTable.insert_or_assign(key, std::move(process));
        }
    }
    return leftOut;
}

std::vector<std::pair<Asker, std::string>> Observers::For(const std::string& inType,
                                                          const std::string& inSubType) const {
    std::vector<std::pair<Asker, std::string>> concerned;
    for (const auto& [key, process] : mTable) {
        if (!process.mPlace) continue;
        for (const Observer& observer : process.mObservers) {
            if (observer.mType == inType && observer.mSubType == inSubType) {
                concerned.emplace_back(*process.mPlace, observer.mNamespace);
            }
        }
    }
    return concerned;
}

std::size_t Observers::Count(const Asker& inOf, const std::string& inType,
                             const std::string& inSubType) const {
    const auto found = mTable.find({inOf.mAppId, inOf.mProcessId});
    if (found == mTable.end()) return 0;
    const std::vector<Observer>& observers = found->second.mObservers;
    return static_cast<std::size_t>(
        std::count_if(observers.begin(), observers.end(), [&](const Observer& inObserver) {
            return inObserver.mType == inType && inObserver.mSubType == inSubType;
        }));
}

bool Observers::HasPresent() const {
    return std::any_of(mTable.begin(), mTable.end(),
                       [](const auto& inEntry) { return inEntry.second.mPlace.has_value(); });
}

bool Observers::IsRunning(const Table::value_type& inEntry) const {
    return inEntry.second.mStart != 0 && mStartOf(inEntry.first.second) == inEntry.second.mStart;
}

std::size_t Observers::CountAll() const {
    std::size_t count = 0;
    for (const auto& [key, process] : mTable) count += process.mObservers.size();
    return count;
}

}  // namespace orvane::plexa::zarnd
