#include "unpack/Unpack.h"

#include <archive.h>
#include <archive_entry.h>
#include <locale.h>
#include <sys/stat.h>

#include <exception>
#include <memory>
#include <new>
#include <vector>

#include "common/Failure.h"
#include "unpack/FileTree.h"

namespace orvane::plexa::zarnd {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10U;

/// Names in archives are read in the thread's locale: UTF-8, whatever the process has.
class Utf8Names {
  public:
    Utf8Names() : mLocale(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
        if (mLocale != nullptr) mBefore = ::uselocale(mLocale);
    }
    Utf8Names(const Utf8Names&) = delete;
    Utf8Names& operator=(const Utf8Names&) = delete;
    ~Utf8Names() {
        if (mLocale == nullptr) return;
        ::uselocale(mBefore);
        ::freelocale(mLocale);
    }

  private:
    locale_t mLocale;
    locale_t mBefore = nullptr;
};

/// The archive as it is read from a source.
class Reader {
  public:
    Reader(const ByteSource& inSource, const std::function<void(std::uint64_t)>& inOnBytes)
        : mSource(inSource), mOnBytes(inOnBytes), mArchive(::archive_read_new(), &::archive_read_free) {
        if (!mArchive) throw std::bad_alloc();
        archive* const reader = mArchive.get();
        ::archive_read_support_format_tar(reader);
        ::archive_read_support_filter_gzip(reader);
        ::archive_read_support_filter_bzip2(reader);
        ::archive_read_support_filter_xz(reader);
        ::archive_read_support_filter_zstd(reader);
        ::archive_read_set_option(reader, "tar", "hdrcharset", "UTF-8");
        Check(::archive_read_open(reader, this, nullptr, &OnRead, nullptr));
    }

    /// The next entry; null behind the last.
    archive_entry* Next() {
        archive_entry* entry = nullptr;
        const int result = ::archive_read_next_header(mArchive.get(), &entry);
        if (result == ARCHIVE_EOF) return nullptr;
        Check(result);
        return entry;
    }

    /// The next bytes of the entry; none at its end.
    std::span<const std::byte> Data() {
        const la_ssize_t count = ::archive_read_data(mArchive.get(), mBuffer.data(), mBuffer.size());
        if (count < 0) Check(ARCHIVE_FATAL);
        return std::span(mBuffer).first(static_cast<std::size_t>(count));
    }

  private:
    static la_ssize_t OnRead(archive* /*inArchive*/, void* inThis, const void** outBytes) {
        auto& self = *static_cast<Reader*>(inThis);
        try {
            self.mOnBytes(self.mRead);  // what came before this call is done with
            const std::span<const std::byte> bytes = self.mSource();
            self.mRead += bytes.size();
            *outBytes = bytes.data();
            return static_cast<la_ssize_t>(bytes.size());
        } catch (...) {
            self.mThrown = std::current_exception();
            return -1;
        }
    }

    // Warnings are about what is not taken over anyway.
    void Check(int inResult) const {
        if (mThrown) std::rethrow_exception(mThrown);
        if (inResult == ARCHIVE_OK || inResult == ARCHIVE_WARN) return;
        const char* const reason = ::archive_error_string(mArchive.get());
        throw Failure(ErrorCode::kArchiveBroken,
                      std::string("the archive can't be read: ") + (reason != nullptr ? reason : "unknown"));
    }

    const ByteSource& mSource;
    const std::function<void(std::uint64_t)>& mOnBytes;
    std::uint64_t mRead = 0;
    std::exception_ptr mThrown;
    std::vector<std::byte> mBuffer{kBufferBytes};
    std::unique_ptr<archive, decltype(&::archive_read_free)> mArchive;
};

std::string NameOf(const char* inName) {
    if (inName == nullptr) {
        throw Failure(ErrorCode::kArchiveUnsafe, "the archive has an entry whose name is not in UTF-8");
    }
    return inName;
}

void UnpackFile(Reader& ioReader, const std::string& inName, bool inIsExecutable, ArchiveTree& ioTree,
                FileTree& ioFiles) {
    const std::string path = ioTree.AddFile(inName);
    ioFiles.BeginFile(path, inIsExecutable);
    for (auto bytes = ioReader.Data(); !bytes.empty(); bytes = ioReader.Data()) {
        ioTree.AddBytes(bytes.size());
        ioFiles.Append(bytes);
    }
    ioFiles.EndFile();
}

void UnpackEntry(Reader& ioReader, archive_entry* inEntry, ArchiveTree& ioTree, FileTree& ioFiles) {
    const std::string name = NameOf(::archive_entry_pathname_utf8(inEntry));
    if (::archive_entry_hardlink(inEntry) != nullptr || ::archive_entry_hardlink_utf8(inEntry) != nullptr) {
        const auto link = ioTree.AddHardLink(name, NameOf(::archive_entry_hardlink_utf8(inEntry)));
        ioFiles.MakeHardLink(link.mPath, link.mTarget);
        return;
    }
    switch (::archive_entry_filetype(inEntry)) {
        case AE_IFREG:
            UnpackFile(ioReader, name, (::archive_entry_perm(inEntry) & S_IXUSR) != 0, ioTree, ioFiles);
            return;
        case AE_IFDIR:
            ioFiles.MakeFolder(ioTree.AddFolder(name));
            return;
        case AE_IFLNK: {
            const std::string target = NameOf(::archive_entry_symlink_utf8(inEntry));
            ioFiles.MakeSymbolicLink(ioTree.AddSymbolicLink(name, target), target);
            return;
        }
        default:
            throw Failure(ErrorCode::kArchiveUnsafe, "the archive has a device, pipe or socket");
    }
}

}  // namespace

std::map<std::string, ManifestEntry> Unpack(const ByteSource& inSource, const std::string& inFolder,
                                            const ArchiveLimits& inLimits,
                                            const std::function<void(std::uint64_t)>& inOnBytes) {
    const Utf8Names names;
    Reader reader(inSource, inOnBytes);
    ArchiveTree tree(inLimits);
    FileTree files(inFolder);
    while (archive_entry* const entry = reader.Next()) UnpackEntry(reader, entry, tree, files);
    if (files.Entries().empty()) throw Failure(ErrorCode::kArchiveBroken, "the archive has no files");
    return std::move(files.Entries());
}

}  // namespace orvane::plexa::zarnd
