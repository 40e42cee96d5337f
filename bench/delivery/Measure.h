/// One measurement with processes of its own.
#pragma once

#include "Board.h"

namespace bench {

struct Result {
    double mMessagesPerSecond = 0;
    /// Processor time of all processes, for each message sent.
    double mMicrosecondsPerMessage = 0;
};

/// inTask's directory is made. Throws `std::runtime_error` or `std::system_error`.
Result Measure(Task inTask, bool inAcknowledged);

}  // namespace bench
