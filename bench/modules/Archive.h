/// The archive that is installed.
#pragma once

#include <cstdint>
#include <filesystem>

#include "catalogue/Catalogue.h"

namespace bench {

/// Writes a tar archive of about `inSize` bytes that don't compress, in files of 4 MiB and many small ones;
/// compressed with gzip if wanted. Returns what a catalogue would say of it, but for its address.
orvane::plexa::zarnd::ModuleSpec WriteLargeArchive(const std::filesystem::path& inPath, std::uint64_t inSize,
                                                   bool inIsCompressed);
/// The same of `inFiles` small files, a hundred in a folder.
orvane::plexa::zarnd::ModuleSpec WriteArchiveOfFiles(const std::filesystem::path& inPath, int inFiles,
                                                     bool inIsCompressed);

}  // namespace bench
