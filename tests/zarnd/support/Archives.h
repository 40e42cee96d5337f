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

enum class Compression { kNone, kGzip, kBzip2, kXz, kZstd };

/// A tar archive.
std::string MakeArchive(const std::vector<Entry>& inEntries, Compression inCompression = Compression::kNone);

/// Any text, compressed.
std::string Compressed(const std::string& inText, Compression inCompression);

/// One entry of a tar archive as no honest program writes it: a header of any type, and bytes behind it.
std::string RawEntry(char inType, const std::string& inPath, const std::string& inTarget,
                     const std::string& inBody);
/// A header of the type 'x' (of the next entry) with one attribute.
std::string RawAttribute(const std::string& inKey, const std::string& inValue);

/// Bytes that don't compress and are not the same in any two places.
std::string Noise(std::size_t inSize);

/// SHA-256 in hexadecimal digits.
std::string DigestOf(const std::string& inText);

/// A module whose archive, at an address, has this content.
orvane::plexa::zarnd::ModuleSpec ModuleOf(const std::string& inArchive, const std::string& inAddress);

}  // namespace zarnd_test
