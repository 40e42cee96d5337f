/// Unpacking.
#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>

#include "unpack/ArchiveTree.h"
#include "unpack/FileTree.h"
#include "unpack/PlainSource.h"

namespace orvane::plexa::zarnd {

struct UnpackWatch {
    std::function<void(std::uint64_t)> mOnBytes;  ///< how many bytes of the source are done with
    FileTree::OnMade mOnMade;                     ///< each file and link, once it is there
};

/// Unpacks a tar archive, plain or compressed by gzip, bzip2, xz or zstd, below an empty folder. Owners,
/// times, set-uid bits and the like are not taken over. Throws `Failure`, `Cancelled` soon after `inStop` is
/// asked for, or what the source and the watch throw.
void Unpack(const ByteSource& inSource, const std::string& inFolder, const ArchiveLimits& inLimits,
            const UnpackWatch& inWatch, const std::stop_token& inStop);

}  // namespace orvane::plexa::zarnd
