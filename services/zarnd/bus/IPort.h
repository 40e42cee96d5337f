/// The way to the bus.
#pragma once

#include <string>

#include "deployment/Types.h"

namespace orvane::plexa::zarnd {

/// A message as it came.
struct Message {
    Asker mFrom;
    std::string mType;
    std::string mPayload;
    bool mIsTooLong = false;  ///< to be a question: of the payload only the request id is left, or the module
};

class IPort {
  public:
    IPort() = default;
    IPort(const IPort&) = delete;
    IPort& operator=(const IPort&) = delete;
    virtual ~IPort() = default;

    /// Sends to exactly this process. One that has gone hears nothing, and nobody else does.
    virtual void Send(const Asker& inTo, const std::string& inType, const std::string& inPayload) = 0;
};

}  // namespace orvane::plexa::zarnd
