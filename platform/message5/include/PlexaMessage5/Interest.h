/// Which broadcasts a process wants; for services and tools that listen for a few types only.
#pragma once

#include <cstddef>

#include "PlexaMessage5/ErrorCode.h"
#include "PlexaMessage5/Export.h"

namespace orvane::plexa::api5 {

/// From now on only messages of these types reach this process, of those that have no destination; what was
/// on its way may still come. A null `inTypes` stands for all types, as without a call. The texts are copied
/// and kept for later connections. May be called before `GetInstance`. Any thread. Errors: `InvalidParameter`
/// for more than 1024 types, a null one, one of more than 4096 bytes, or more than 96 KiB of them (16 bytes
/// are counted in for each); `Unknown` when there is no memory.
PLEXA_MESSAGE5_API PlexaMessageErrorCode SetInterest(const char* const* inTypes, std::size_t inCount);

}  // namespace orvane::plexa::api5
