#include "common/Failure.h"

#include <cerrno>
#include <system_error>

namespace orvane::plexa::zarnd {

Failure SystemFailure(const std::string& inWhat, int inError) {
    const bool isFull = inError == ENOSPC || inError == EDQUOT;
    return {isFull ? ErrorCode::kDiskFull : ErrorCode::kCannotWrite,
            inWhat + ": " + std::system_category().message(inError)};
}

}  // namespace orvane::plexa::zarnd
