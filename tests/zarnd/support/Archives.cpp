#include "Archives.h"

#include <archive.h>
#include <archive_entry.h>

#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>

#include "digest/Sha256.h"

namespace zarnd_test {

namespace {

la_ssize_t Append(archive* /*inArchive*/, void* inText, const void* inBytes, std::size_t inCount) {
    static_cast<std::string*>(inText)->append(static_cast<const char*>(inBytes), inCount);
    return static_cast<la_ssize_t>(inCount);
}

void Describe(archive_entry* outEntry, const Entry& inEntry) {
    ::archive_entry_set_pathname(outEntry, inEntry.mPath.c_str());
    ::archive_entry_set_perm(outEntry, inEntry.mMode);
    switch (inEntry.mKind) {
        case Entry::Kind::kFile:
            ::archive_entry_set_filetype(outEntry, AE_IFREG);
            ::archive_entry_set_size(outEntry, static_cast<la_int64_t>(inEntry.mText.size()));
            break;
        case Entry::Kind::kFolder:
            ::archive_entry_set_filetype(outEntry, AE_IFDIR);
            break;
        case Entry::Kind::kSymbolicLink:
            ::archive_entry_set_filetype(outEntry, AE_IFLNK);
            ::archive_entry_set_symlink(outEntry, inEntry.mText.c_str());
            break;
        case Entry::Kind::kHardLink:
            ::archive_entry_set_filetype(outEntry, AE_IFREG);
            ::archive_entry_set_hardlink(outEntry, inEntry.mText.c_str());
            break;
        case Entry::Kind::kPipe:
            ::archive_entry_set_filetype(outEntry, AE_IFIFO);
            break;
    }
}

using Writer = std::unique_ptr<archive, decltype(&::archive_write_free)>;

void Filter(const Writer& ioWriter, Compression inCompression) {
    switch (inCompression) {
        case Compression::kNone:
            break;
        case Compression::kGzip:
            ::archive_write_add_filter_gzip(ioWriter.get());
            break;
        case Compression::kBzip2:
            ::archive_write_add_filter_bzip2(ioWriter.get());
            break;
        case Compression::kXz:
            ::archive_write_add_filter_xz(ioWriter.get());
            break;
        case Compression::kZstd:
            ::archive_write_add_filter_zstd(ioWriter.get());
            break;
    }
}

void Add(const Writer& ioWriter, const Entry& inEntry) {
    const std::unique_ptr<archive_entry, decltype(&::archive_entry_free)> header(::archive_entry_new(),
                                                                                 &::archive_entry_free);
    Describe(header.get(), inEntry);
    if (::archive_write_header(ioWriter.get(), header.get()) < ARCHIVE_WARN) {
        throw std::runtime_error(::archive_error_string(ioWriter.get()));
    }
    if (inEntry.mKind == Entry::Kind::kFile) {
        ::archive_write_data(ioWriter.get(), inEntry.mText.data(), inEntry.mText.size());
    }
}

}  // namespace

std::string MakeArchive(const std::vector<Entry>& inEntries, Compression inCompression) {
    std::string text;
    const Writer writer(::archive_write_new(), &::archive_write_free);
    ::archive_write_set_format_pax_restricted(writer.get());
    Filter(writer, inCompression);
    ::archive_write_set_bytes_in_last_block(writer.get(), 1);
    ::archive_write_open(writer.get(), &text, nullptr, &Append, nullptr);
    for (const Entry& entry : inEntries) Add(writer, entry);
    ::archive_write_close(writer.get());
    return text;
}

std::string Compressed(const std::string& inText, Compression inCompression) {
    std::string text;
    const Writer writer(::archive_write_new(), &::archive_write_free);
    ::archive_write_set_format_raw(writer.get());
    Filter(writer, inCompression);
    ::archive_write_set_bytes_in_last_block(writer.get(), 1);
    ::archive_write_open(writer.get(), &text, nullptr, &Append, nullptr);
    Add(writer, {Entry::Kind::kFile, "data", inText});
    ::archive_write_close(writer.get());
    return text;
}

std::string RawEntry(char inType, const std::string& inPath, const std::string& inTarget,
                     const std::string& inBody) {
    constexpr std::size_t kBlock = 512;
    constexpr std::size_t kSumPlace = 148;
    std::string header(kBlock, '\0');
    const auto put = [&](std::size_t inPlace, const std::string& inText) {
        header.replace(inPlace, inText.size(), inText);
    };
    std::array<char, 13> size{};
    std::snprintf(size.data(), size.size(), "%011zo", inBody.size());
    put(0, inPath);
    put(100, "0000644");
    put(124, size.data());
    put(136, "00000000000");
    put(kSumPlace, "        ");
    put(156, std::string(1, inType));
    put(157, inTarget);
    put(257, std::string("ustar\00000", 8));
    unsigned sum = 0;
    for (const char byte : header) sum += static_cast<unsigned char>(byte);
    std::array<char, 8> digits{};
    std::snprintf(digits.data(), digits.size(), "%06o", sum);
    put(kSumPlace, digits.data());
    return header + inBody + std::string((kBlock - inBody.size() % kBlock) % kBlock, '\0');
}

std::string RawAttribute(const std::string& inKey, const std::string& inValue) {
    const std::string text = " " + inKey + "=" + inValue + "\n";
    std::size_t size = text.size();
    while (size != text.size() + std::to_string(size).size()) {
        size = text.size() + std::to_string(size).size();
    }
    return RawEntry('x', "attributes", "", std::to_string(size) + text);
}

std::string Noise(std::size_t inSize) {
    std::mt19937_64 random(7);
    std::string noise(inSize, '\0');
    for (char& byte : noise) byte = static_cast<char>(random());
    return noise;
}

std::string DigestOf(const std::string& inText) {
    orvane::plexa::zarnd::Sha256 digest;
    digest.Update(std::as_bytes(std::span(inText)));
    return digest.Finish();
}

orvane::plexa::zarnd::ModuleSpec ModuleOf(const std::string& inArchive, const std::string& inAddress) {
    orvane::plexa::zarnd::ModuleSpec module;
    module.mId = "KQ7L";
    module.mVersion = "1.0";
    module.mFits = {"*"};
    module.mArchive = inAddress;
    module.mSha256 = DigestOf(inArchive);
    module.mSize = inArchive.size();
    module.mUnpackedSize = std::uint64_t{64} << 20U;
    return module;
}

}  // namespace zarnd_test
