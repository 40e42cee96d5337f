#include "Archives.h"

#include <archive.h>
#include <archive_entry.h>

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

}  // namespace

std::string MakeArchive(const std::vector<Entry>& inEntries, bool inIsCompressed) {
    std::string text;
    const std::unique_ptr<archive, decltype(&::archive_write_free)> writer(::archive_write_new(),
                                                                           &::archive_write_free);
    ::archive_write_set_format_pax_restricted(writer.get());
    if (inIsCompressed) ::archive_write_add_filter_gzip(writer.get());
    ::archive_write_set_bytes_in_last_block(writer.get(), 1);
    ::archive_write_open(writer.get(), &text, nullptr, &Append, nullptr);
    for (const Entry& entry : inEntries) {
        const std::unique_ptr<archive_entry, decltype(&::archive_entry_free)> header(::archive_entry_new(),
                                                                                     &::archive_entry_free);
        Describe(header.get(), entry);
        if (::archive_write_header(writer.get(), header.get()) < ARCHIVE_WARN) {
            throw std::runtime_error(::archive_error_string(writer.get()));
        }
        if (entry.mKind == Entry::Kind::kFile) {
            ::archive_write_data(writer.get(), entry.mText.data(), entry.mText.size());
        }
    }
    ::archive_write_close(writer.get());
    return text;
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
