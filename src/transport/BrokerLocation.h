/// Whether the broker's program is on this machine. Any thread.
#pragma once

#include <cstddef>
#include <optional>

#include "PlexaMessage5/ErrorCode.h"
#include "nuocore/Strings.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

using orvane::plexa::api5::PlexaMessageErrorCode;

/// What the search asks of a system, and what its paths look like there. Operations may throw.
class IBrokerSearchSystem {
  public:
    IBrokerSearchSystem() = default;
    IBrokerSearchSystem(const IBrokerSearchSystem&) = delete;
    IBrokerSearchSystem& operator=(const IBrokerSearchSystem&) = delete;
    virtual ~IBrokerSearchSystem() = default;

    /// Folder that stands in for an environment variable that isn't set.
    [[nodiscard]] virtual UTF16String FallbackBase() const = 0;
    /// What follows the base, in this system's separators.
    [[nodiscard]] virtual UTF16String BrokerSuffix() const = 0;
    /// The value of an environment variable; nothing when it isn't set.
    [[nodiscard]] virtual std::optional<UTF16String> ReadEnvironment(const char* inName) const = 0;
    [[nodiscard]] virtual bool PathExists(const UTF16String& inPath) const = 0;

    /// Opens the registry key, or its substitute, that may hold the broker's path.
    virtual bool OpenKey() = 0;
    /// Copies the stored path with its NUL into a zero-filled buffer; false when there is none, or when path
    /// and NUL need more than `inBufferBytes` bytes.
    virtual bool QueryBrokerPath(char16_t* outBuffer, std::size_t inBufferBytes) = 0;
    virtual void CloseKey() = 0;
};

/// The candidate path for one of the two standard locations.
UTF16String MakeBrokerPathCandidate(const IBrokerSearchSystem& inSystem, bool inIs32BitVariant);

/// Whether the last component of a path, after a backslash or else after a slash, is the broker's file name
/// exactly.
bool IsBrokerExecutablePath(const UTF16String& inPath);

/// 0 when the broker's file was found, 6 when it was not, 7 when a candidate path couldn't be made.
PlexaMessageErrorCode LocateBroker(IBrokerSearchSystem& inSystem);
/// The same on this machine.
PlexaMessageErrorCode LocateBroker();

}  // namespace nuoplexasupport
