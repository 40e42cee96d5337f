/// Who wants to be told of which notifications. No I/O.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "deployment/Types.h"
#include "processes/ProcessStart.h"

namespace orvane::plexa::zarnd {

/// One registration: a kind of notifications, and where they are to go.
struct Observer {
    std::string mType;
    std::string mSubType;
    std::string mNamespace;  ///< behind "plexa.SuiteMessage." the message type of this registration

    bool operator==(const Observer&) const = default;
};

/// Observers belong to a process. While that isn't among the end points nothing is meant for them, but they
/// stay until the process has ended: one that was cut off from the bus comes back under a new end point, and
/// doesn't know that it should register again.
class Observers {
  public:
    static constexpr std::size_t kMaxOfProcess = 1000;
    static constexpr std::size_t kMaxInAll = 10'000;

    /// All observers of a process.
    struct OfProcess {
        std::uint64_t mStart = 0;     ///< which of the processes that had this id one after another
        std::optional<Asker> mPlace;  ///< its end point, while it has one
        std::vector<Observer> mObservers;
    };
    /// By app id and process id.
    using Table = std::map<std::pair<std::string, std::int32_t>, OfProcess>;

    enum class Outcome { kDone, kNothingToDo, kTooManyOfProcess, kTooManyInAll };

    explicit Observers(StartOfProcess inStartOf) : mStartOf(std::move(inStartOf)) {}

    /// A registration with a namespace that the process uses already takes that one's place.
    Outcome Register(const Asker& inFrom, const Observer& inObserver);
    Outcome Unregister(const Asker& inFrom, const std::string& inNamespace);
    /// The end points are these now. Whether observers have gone.
    bool OnEndPoints(const std::vector<Asker>& inEndPoints);
    /// Observers that were kept and are not taken over.
    struct LeftOut {
        std::size_t mEnded = 0;    ///< their processes run no more
        std::size_t mTooMany = 0;  ///< beyond the bounds
    };
    /// Takes over what was kept of an earlier run, as far as the processes still run, as having no end point.
    LeftOut Restore(Table inKept);

    /// Whom a notification concerns: end point and namespace.
    [[nodiscard]] std::vector<std::pair<Asker, std::string>> For(const std::string& inType,
                                                                 const std::string& inSubType) const;
    [[nodiscard]] std::size_t Count(const Asker& inOf, const std::string& inType,
                                    const std::string& inSubType) const;
    /// Whether an end point observes anything.
    [[nodiscard]] bool HasPresent() const;
    [[nodiscard]] const Table& All() const { return mTable; }

  private:
    [[nodiscard]] bool IsRunning(const Table::value_type& inEntry) const;
    [[nodiscard]] std::size_t CountAll() const;

    StartOfProcess mStartOf;
    Table mTable;
};

}  // namespace orvane::plexa::zarnd
