/// Archives made by tests, honest and hostile.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "catalogue/Catalogue.h"

namespace zarnd_test {

struct Entry {
    enum class Kind { kFile, kFolder, kSymbolicLink, kHardLink, kPipe } mKind = Kind::kFile;
    std::string mPath;
    std::string mText = {};  ///< content, or what a link points to
    unsigned mMode = 0644;
};

/// A tar archive; compressed with gzip if wanted.
std::string MakeArchive(const std::vector<Entry>& inEntries, bool inIsCompressed = false);

/// Bytes that don't compress and are not the same in any two places.
std::string Noise(std::size_t inSize);

/// SHA-256 in hexadecimal digits.
std::string DigestOf(const std::string& inText);

/// A module whose archive, at an address, has this content.
orvane::plexa::zarnd::ModuleSpec ModuleOf(const std::string& inArchive, const std::string& inAddress);

}  // namespace zarnd_test
