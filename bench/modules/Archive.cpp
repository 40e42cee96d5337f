#include "Archive.h"

#include <archive.h>
#include <archive_entry.h>

#include <array>
#include <fstream>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>
#include <string>

#include "digest/Sha256.h"

namespace bench {

namespace {

constexpr std::size_t kLargeBytes = std::size_t{4} << 20U;
constexpr std::size_t kSmallBytes = 4000;
constexpr int kSmallOfEachLarge = 16;
constexpr int kFilesOfFolder = 100;

class Writer {
  public:
    Writer(const std::filesystem::path& inPath, bool inIsCompressed)
        : mArchive(::archive_write_new(), &::archive_write_free) {
        ::archive_write_set_format_pax_restricted(mArchive.get());
        if (inIsCompressed) ::archive_write_add_filter_gzip(mArchive.get());
        Check(::archive_write_open_filename(mArchive.get(), inPath.c_str()));
    }

    void File(const std::string& inName, std::size_t inSize) {
        std::string content(inSize, '\0');
        for (std::size_t place = 0; place + 8 <= inSize; place += 8) {
            const std::uint64_t word = mRandom();
            content.replace(place, 8, reinterpret_cast<const char*>(&word), 8);
        }
        const std::unique_ptr<archive_entry, decltype(&::archive_entry_free)> entry(::archive_entry_new(),
                                                                                    &::archive_entry_free);
        ::archive_entry_set_pathname(entry.get(), inName.c_str());
        ::archive_entry_set_filetype(entry.get(), AE_IFREG);
        ::archive_entry_set_perm(entry.get(), 0644);
        ::archive_entry_set_size(entry.get(), static_cast<la_int64_t>(inSize));
        Check(::archive_write_header(mArchive.get(), entry.get()));
        ::archive_write_data(mArchive.get(), content.data(), content.size());
    }
    void Close() { Check(::archive_write_close(mArchive.get())); }

  private:
    void Check(int inResult) {
        if (inResult < ARCHIVE_WARN) throw std::runtime_error(::archive_error_string(mArchive.get()));
    }

    std::mt19937_64 mRandom{1};
    std::unique_ptr<archive, decltype(&::archive_write_free)> mArchive;
};

std::string DigestOf(const std::filesystem::path& inPath) {
    orvane::plexa::zarnd::Sha256 digest;
    std::ifstream file(inPath, std::ios::binary);
    std::array<char, 1 << 16> buffer{};
    while (file.read(buffer.data(), buffer.size()) || file.gcount() > 0) {
        digest.Update(std::as_bytes(std::span(buffer).first(static_cast<std::size_t>(file.gcount()))));
    }
    return digest.Finish();
}

orvane::plexa::zarnd::ModuleSpec Describe(const std::filesystem::path& inPath, std::uint64_t inUnpacked) {
    orvane::plexa::zarnd::ModuleSpec module;
    module.mId = "BENCH";
    module.mVersion = "1";
    module.mSize = std::filesystem::file_size(inPath);
    module.mSha256 = DigestOf(inPath);
    module.mUnpackedSize = inUnpacked;
    return module;
}

}  // namespace

orvane::plexa::zarnd::ModuleSpec WriteLargeArchive(const std::filesystem::path& inPath, std::uint64_t inSize,
                                                   bool inIsCompressed) {
    Writer writer(inPath, inIsCompressed);
    std::uint64_t written = 0;
    for (int number = 0; written < inSize; ++number) {
        const std::string folder = "part" + std::to_string(number) + "/";
        writer.File(folder + "large", kLargeBytes);
        for (int small = 0; small != kSmallOfEachLarge; ++small) {
            writer.File(folder + "small" + std::to_string(small), kSmallBytes);
        }
        written += kLargeBytes + kSmallOfEachLarge * kSmallBytes;
    }
    writer.Close();
    return Describe(inPath, written);
}

orvane::plexa::zarnd::ModuleSpec WriteArchiveOfFiles(const std::filesystem::path& inPath, int inFiles,
                                                     bool inIsCompressed) {
    Writer writer(inPath, inIsCompressed);
    for (int number = 0; number != inFiles; ++number) {
        writer.File("a-folder-of-the-module/part" + std::to_string(number / kFilesOfFolder) +
                        "/a-file-with-an-ordinary-name-" + std::to_string(number) + ".dat",
                    kSmallBytes);
    }
    writer.Close();
    return Describe(inPath, static_cast<std::uint64_t>(inFiles) * kSmallBytes);
}

}  // namespace bench
