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
constexpr std::size_t kMaxHeaderBytes = std::size_t{1} << 20U;

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
    Reader(PlainSource& ioSource, ArchiveTree& ioTree)
        : mSource(ioSource), mTree(ioTree), mArchive(::archive_read_new(), &::archive_read_free) {
        if (!mArchive) throw std::bad_alloc();
        archive* const reader = mArchive.get();
        ::archive_read_support_format_tar(reader);
        ::archive_read_set_option(reader, "tar", "hdrcharset", "UTF-8");
        Check(::archive_read_open(reader, this, nullptr, &OnRead, nullptr));
    }

    /// The next entry; null behind the last. All of the one before has been read: the library is never left
    /// to skip what nobody counts.
    archive_entry* Next() {
        mHeaderBytes = 0;
        archive_entry* entry = nullptr;
        const int result = ::archive_read_next_header(mArchive.get(), &entry);
        if (result == ARCHIVE_EOF) return nullptr;
        Check(result);
        return entry;
    }

    /// The next bytes of the entry; none at its end.
    std::span<const std::byte> Data() {
        mHeaderBytes = 0;
        const la_ssize_t count = ::archive_read_data(mArchive.get(), mBuffer.data(), mBuffer.size());
        if (count < 0) Check(ARCHIVE_FATAL);
        return std::span(mBuffer).first(static_cast<std::size_t>(count));
    }

  private:
    static la_ssize_t OnRead(archive* /*inArchive*/, void* inThis, const void** outBytes) {
        auto& self = *static_cast<Reader*>(inThis);
        try {
            const std::span<const std::byte> bytes = self.mSource.Read();
            self.Count(bytes.size());
            *outBytes = bytes.data();
            return static_cast<la_ssize_t>(bytes.size());
        } catch (...) {
            self.mThrown = std::current_exception();
            return -1;
        }
    }

    // What the library keeps of a header, a map of holes above all, grows with the header's bytes.
    void Count(std::size_t inBytes) {
        mTree.AddArchiveBytes(inBytes);
        if (mHeaderBytes > kMaxHeaderBytes) {
            throw Failure(ErrorCode::kArchiveTooLarge, "the archive has an entry whose header is too large");
        }
        mHeaderBytes += inBytes;
    }

    // Warnings are about what is not taken over anyway.
    void Check(int inResult) const {
        if (mThrown) std::rethrow_exception(mThrown);
        if (inResult == ARCHIVE_OK || inResult == ARCHIVE_WARN) return;
        const char* const reason = ::archive_error_string(mArchive.get());
        throw Failure(ErrorCode::kArchiveBroken,
                      std::string("the archive can't be read: ") + (reason != nullptr ? reason : "unknown"));
    }

    PlainSource& mSource;
    ArchiveTree& mTree;
    std::size_t mHeaderBytes = 0;
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

/// What is unpacked, from where, and to where.
struct Work {
    Reader& mReader;
    ArchiveTree& mTree;
    FileTree& mFiles;
    const std::stop_token& mStop;
};

void UnpackFile(const Work& inWork, const std::string& inName, bool inIsExecutable) {
    const std::string path = inWork.mTree.AddFile(inName);
    inWork.mFiles.BeginFile(path, inIsExecutable);
    for (auto bytes = inWork.mReader.Data(); !bytes.empty(); bytes = inWork.mReader.Data()) {
        CheckStop(inWork.mStop);  // holes come without reading
        inWork.mTree.AddBytes(bytes.size());
        inWork.mFiles.Append(bytes);
    }
    inWork.mFiles.EndFile();
}

bool IsHardLink(archive_entry* inEntry) {
    return ::archive_entry_hardlink(inEntry) != nullptr || ::archive_entry_hardlink_utf8(inEntry) != nullptr;
}

void MakeOther(const Work& inWork, archive_entry* inEntry, const std::string& inName) {
    if (IsHardLink(inEntry)) {
        const auto link = inWork.mTree.AddHardLink(inName, NameOf(::archive_entry_hardlink_utf8(inEntry)));
        inWork.mFiles.MakeHardLink(link.mPath, link.mTarget, link.mFile);
        return;
    }
    switch (::archive_entry_filetype(inEntry)) {
        case AE_IFDIR:
            inWork.mFiles.MakeFolder(inWork.mTree.AddFolder(inName));
            return;
        case AE_IFLNK: {
            const std::string target = NameOf(::archive_entry_symlink_utf8(inEntry));
            inWork.mFiles.MakeSymbolicLink(inWork.mTree.AddSymbolicLink(inName, target), target);
            return;
        }
        default:
            throw Failure(ErrorCode::kArchiveUnsafe, "the archive has a device, pipe or socket");
    }
}

void UnpackEntry(const Work& inWork, archive_entry* inEntry) {
    const std::string name = NameOf(::archive_entry_pathname_utf8(inEntry));
    if (::archive_entry_filetype(inEntry) == AE_IFREG && !IsHardLink(inEntry)) {
        UnpackFile(inWork, name, (::archive_entry_perm(inEntry) & S_IXUSR) != 0);
    } else {
        MakeOther(inWork, inEntry, name);
        if (!inWork.mReader.Data().empty()) ArchiveTree::RefuseBody(name);
    }
}

}  // namespace

void Unpack(const ByteSource& inSource, const std::string& inFolder, const ArchiveLimits& inLimits,
            const UnpackWatch& inWatch, const std::stop_token& inStop) {
    const Utf8Names names;
    bool hasMade = false;
    const FileTree::OnMade onMade = [&](const ListedFile& inFile) {
        hasMade = true;
        inWatch.mOnMade(inFile);
    };
    PlainSource source(inSource, inWatch.mOnBytes, inStop);
    ArchiveTree tree(inLimits);
    FileTree files(inFolder, onMade);
    Reader reader(source, tree);
    const Work work{reader, tree, files, inStop};
    while (archive_entry* const entry = reader.Next()) UnpackEntry(work, entry);
    if (!hasMade) throw Failure(ErrorCode::kArchiveBroken, "the archive has no files");
}

}  // namespace orvane::plexa::zarnd
