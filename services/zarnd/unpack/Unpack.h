/// Unpacking.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>

#include "install/Manifest.h"
#include "unpack/ArchiveTree.h"

namespace orvane::plexa::zarnd {

/// Gives the next bytes of an archive, valid until the next call; none at its end.
using ByteSource = std::function<std::span<const std::byte>()>;

/// Unpacks a tar archive, plain or compressed by gzip, bzip2, xz or zstd, below an empty folder, and says
/// what has been made. Owners, times, set-uid bits and the like are not taken over. `inOnBytes` is told how
/// many bytes of the source are done with. Throws `Failure`, or what the source throws.
std::map<std::string, ManifestEntry> Unpack(const ByteSource& inSource, const std::string& inFolder,
                                            const ArchiveLimits& inLimits,
                                            const std::function<void(std::uint64_t)>& inOnBytes);

}  // namespace orvane::plexa::zarnd
