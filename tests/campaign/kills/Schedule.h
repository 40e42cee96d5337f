/// What is made to fail, and when: the same for the same seed.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace campaign::kills {

enum class FaultKind : std::uint8_t { kKill, kLoss, kTerm, kReplace, kDouble, kJoin, kBirth, kStop };
inline constexpr std::size_t kFaultKinds = 8;

struct FaultKindFacts {
    std::string_view mName;  ///< of the setting that says how many
    std::string_view mPurpose;
    std::uint64_t mUsual;  ///< how many
};

inline constexpr std::array<FaultKindFacts, kFaultKinds> kFaultKindFacts{
    {{"kills", "the broker is killed", 200},
     {"losses", "some members lose their connections", 100},
     {"terms", "the broker is told to end", 50},
     {"replacements", "the broker's program is exchanged, and the broker told to end", 50},
     {"doubles", "the broker is killed, and the next one during the recovery", 50},
     {"joins", "the broker is killed while clients join or leave", 50},
     {"births", "the broker is killed while members are stopped, and a sender is born", 20},
     {"stops", "the broker is stopped and goes on", 20}}};

struct Fault {
    FaultKind mKind{};
    std::chrono::microseconds mBefore{};   ///< since everybody was back from the last one
    std::chrono::microseconds mLasting{};  ///< between its two steps, of which most kinds have one
    std::vector<std::size_t> mMembers{};   ///< whom it concerns; nobody for most kinds
    std::size_t mGuests = 0;
};

/// In an order made by chance.
std::vector<Fault> MakeSchedule(std::uint64_t inSeed, const std::array<std::uint64_t, kFaultKinds>& inCounts,
                                std::size_t inMembers);

}  // namespace campaign::kills
