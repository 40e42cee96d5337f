/// How the victims of a campaign of deaths live and die.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

#include "support/Random.h"

namespace campaign::deaths {

/// What a victim does before it is killed.
enum class Kind : std::uint8_t {
    kUnborn,        ///< has only just been started
    kAnytime,       ///< is on its way to the bus, or there
    kConnected,     ///< has connected and says nothing
    kGreeting,      ///< has said part of its greeting
    kJoining,       ///< has asked to join, or said half of that, and reads nothing
    kHalfFrame,     ///< has joined and written part of a message
    kSending,       ///< sends without a break, much of it large
    kReceiving,     ///< handles messages slowly, or has been stopped
    kForked,        ///< has left a copy of itself that holds the socket, and lives on
    kForkedInside,  ///< the same inside a message, which the copy then completes
    kExec,          ///< has gone on as another program that knows nothing of the bus
    kReplaced,      ///< has gone on as another program that has joined as well
};
inline constexpr std::size_t kKinds = 12;

struct KindInfo {
    /// What the victim's role is told.
    std::string_view mName;
    std::string_view mText;
    /// Says "ready" when it is where it is to die; otherwise its time is counted from its start.
    bool mTellsReady;
};
const KindInfo& InfoOf(Kind inKind);
/// Throws `std::invalid_argument` for a name that no kind has.
Kind KindOf(std::string_view inName);

struct Plan {
    Kind mKind{};
    /// For everything that the victim decides itself.
    std::uint64_t mSeed = 0;
    /// From its start, or since it was ready, to its death.
    std::chrono::microseconds mDelay{};
    /// Stopped for the time until then.
    bool mStopped = false;
};

/// inCount deaths in random order, all kinds equally often.
std::vector<Plan> MakePlans(Random& ioRandom, std::size_t inCount);

/// How much longer everything takes under a sanitizer.
#if defined(__SANITIZE_THREAD__)
inline constexpr int kPace = 8;
inline constexpr bool kSanitized = true;
#elif defined(__SANITIZE_ADDRESS__)
inline constexpr int kPace = 4;
inline constexpr bool kSanitized = true;
#else
inline constexpr int kPace = 1;
inline constexpr bool kSanitized = false;
#endif

/// Names on the bus: product code, without the version.
inline constexpr const char* kObserver = "OBSERVER";
inline constexpr const char* kSurvivor = "SURVIVOR";
inline constexpr const char* kVictim = "VICTIM";

}  // namespace campaign::deaths
