/// Who asks for modules, and what they are told.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "catalogue/Catalogue.h"
#include "common/Failure.h"

namespace orvane::plexa::zarnd {

/// A process on the bus.
struct Asker {
    std::string mAppId;
    std::uint64_t mInstance = 0;
    std::int32_t mProcessId = 0;

    friend auto operator<=>(const Asker&, const Asker&) = default;
};

/// A module of a product; what is worked on.
struct ModuleKey {
    std::string mProduct;
    std::string mModule;

    friend auto operator<=>(const ModuleKey&, const ModuleKey&) = default;
};

/// For tables that are asked often.
struct ModuleKeyHash {
    std::size_t operator()(const ModuleKey& inKey) const noexcept {
        constexpr std::size_t kFactor = 0x9E3779B97F4A7C15U;  // keeps apart what differs in one part only
        return std::hash<std::string>()(inKey.mProduct) * kFactor ^ std::hash<std::string>()(inKey.mModule);
    }
};

struct InstallRequest {
    Asker mAsker;
    ModuleKey mKey;
    std::string mVersion;      ///< of the product; echoed
    std::uint64_t mStart = 0;  ///< when the asker's process started; 0: not known
};

/// What an asker is told of an installation. `Progress` any number of times, then one of the others.
struct Progress {
    int mPercent = 0;
};
struct Completed {};
struct Error {
    ErrorCode mCode = ErrorCode::kInternal;
    std::string mMetadata;
};
struct CancelledByAsker {};
using Course = std::variant<Progress, Completed, Error, CancelledByAsker>;

struct DeploymentEvent {
    ModuleKey mKey;
    std::string mVersion;
    Course mCourse;
};

/// One module of a plan.
struct PlannedModule {
    ModuleSpec mSpec;
    std::uint64_t mWeight = 0;  ///< of its share in the progress: bytes to be brought
};

/// The modules to be made sure of, each after those that it needs; the one that was asked for is the last.
using Plan = std::vector<PlannedModule>;

/// How work on a module ended.
using Outcome = std::variant<Completed, Error, CancelledByAsker>;

}  // namespace orvane::plexa::zarnd
