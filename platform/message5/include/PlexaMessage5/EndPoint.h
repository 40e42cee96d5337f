/// A process on the bus as others see it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "PlexaMessage5/Export.h"

namespace orvane::plexa::api5 {

/// Names one process on the bus: app id (product code, "-", client version), instance number, process id. A
/// plain value, compared as a whole; app ids compare up to their first NUL, and an end point with an empty
/// app id equals `INVALID_ENDPOINT`.
class PLEXA_MESSAGE5_API EndPoint {
  public:
    /// The same as `INVALID_ENDPOINT`.
    EndPoint();
    EndPoint(const char* inAppId, std::uint64_t inInstance, std::int32_t inProcessId);
    EndPoint(const EndPoint& inOther);
    EndPoint& operator=(const EndPoint& inOther);
    ~EndPoint();

    /// Bytes that `GetAppId` writes, terminator included.
    [[nodiscard]] std::size_t GetAppIdSize() const;
    /// Copies the NUL-terminated app id into a buffer of at least `GetAppIdSize` bytes.
    void GetAppId(char* outBuffer) const;
    /// Tells apart processes with one app id. Given by the broker, kept for the process's time on the bus.
    [[nodiscard]] std::uint64_t GetInstance() const;
    [[nodiscard]] std::int32_t GetProcessId() const;

    bool operator==(const EndPoint& inOther) const;
    bool operator!=(const EndPoint& inOther) const;

    /// Stands for "no end point".
    static const EndPoint INVALID_ENDPOINT;

  private:
    std::string mAppId;
    std::uint64_t mInstance = 0;
    std::int32_t mProcessId = 0;
};

}  // namespace orvane::plexa::api5
