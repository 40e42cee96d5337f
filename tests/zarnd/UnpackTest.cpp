#include "unpack/Unpack.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <zlib.h>

#include <map>

#include "common/Failure.h"
#include "support/Archives.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using Kind = Entry::Kind;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kPieceBytes = 1000;

std::map<std::string, ListedFile> UnpackText(const std::string& inArchive, const fs::path& inFolder,
                                             ArchiveLimits inLimits = {std::uint64_t{1} << 20U},
                                             std::size_t inPieceBytes = kPieceBytes) {
    std::size_t place = 0;
    std::map<std::string, ListedFile> made;
    Unpack(
        [&] {
            const std::string_view piece = std::string_view(inArchive).substr(place, inPieceBytes);
            place += piece.size();
            return std::as_bytes(std::span(piece));
        },
        inFolder.string(), inLimits,
        {[](std::uint64_t) {}, [&](const ListedFile& inFile) { made[inFile.mPath] = inFile; }}, {});
    return made;
}

/// Unpacks in a folder of its own; nothing may appear beside it. The failure's code, or nothing.
std::optional<ErrorCode> CodeOf(const std::string& inArchive,
                                ArchiveLimits inLimits = {std::uint64_t{1} << 20U}) {
    const ScratchFolder scratch;
    const fs::path folder = scratch.Path() / "in";
    fs::create_directory(folder);
    std::optional<ErrorCode> code;
    try {
        UnpackText(inArchive, folder, inLimits);
    } catch (const Failure& failure) {
        code = failure.Code();
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(scratch.Path()), fs::directory_iterator()), 1);
    return code;
}

std::optional<ErrorCode> CodeOf(const std::vector<Entry>& inEntries) {
    return CodeOf(MakeArchive(inEntries));
}

}  // namespace

TEST(Unpack, MakesWhatIsInTheArchive) {
    const std::string big = Noise(500'000);
    for (const Compression compression : {Compression::kNone, Compression::kGzip, Compression::kBzip2,
                                          Compression::kXz, Compression::kZstd}) {
        const ScratchFolder scratch;
        const auto made = UnpackText(MakeArchive({{Kind::kFolder, "./"},
                                                  {Kind::kFolder, "bin", "", 0755},
                                                  {Kind::kFile, "./bin/tool", big, 04755},
                                                  {Kind::kFile, "deep/down/text", "words", 0600},
                                                  {Kind::kFile, "empty", ""},
                                                  {Kind::kFile, "N\xC3\xA4me", "utf"},
                                                  {Kind::kSymbolicLink, "deep/link", "../bin/tool"},
                                                  {Kind::kHardLink, "hard", "bin/tool"}},
                                                 compression),
                                     scratch.Path());
        EXPECT_EQ(Read(scratch.Path() / "bin" / "tool"), big);
        EXPECT_EQ(Read(scratch.Path() / "deep" / "link"), big);
        EXPECT_EQ(Read(scratch.Path() / "hard"), big);
        EXPECT_EQ(Read(scratch.Path() / "deep" / "down" / "text"), "words");
        EXPECT_EQ(Read(scratch.Path() / "N\xC3\xA4me"), "utf");
        EXPECT_EQ(made.size(), 6U);
        EXPECT_EQ(made.at("bin/tool"), (ListedFile{"bin/tool", big.size(), DigestOf(big), true, ""}));
        EXPECT_EQ(made.at("hard"), (ListedFile{"hard", big.size(), DigestOf(big), true, ""}));
        EXPECT_EQ(made.at("deep/link"), (ListedFile{"deep/link", 0, "", false, "../bin/tool"}));
        EXPECT_FALSE(made.at("deep/down/text").mIsExecutable);
        EXPECT_EQ(made.at("empty").mSha256, DigestOf(""));
    }
}

TEST(Unpack, TakesOverNoSetUidBitsAndTheLike) {
    const ScratchFolder scratch;
    UnpackText(MakeArchive({{Kind::kFile, "tool", "x", 07777}, {Kind::kFile, "text", "x", 0}}),
               scratch.Path());
    const auto modeOf = [&](const char* inName) {
        struct stat status {};
        ::stat((scratch.Path() / inName).c_str(), &status);
        return status.st_mode & 07777U;
    };
    EXPECT_EQ(modeOf("tool") & 07022U, 0U);
    EXPECT_EQ(modeOf("tool") & 0700U, 0700U);
    EXPECT_EQ(modeOf("text") & 0700U, 0600U);
}

TEST(Unpack, RefusesPathsThatLeadOut) {
    for (const char* const path :
         {"/etc/evil", "../evil", "a/../../evil", "a/..", "..", "a\nb", "\xFF\xFE"}) {
        EXPECT_EQ(CodeOf({{Kind::kFile, path, "x"}}), ErrorCode::kArchiveUnsafe) << path;
    }
}

TEST(Unpack, RefusesLinksThatLeadOut) {
    for (const char* const target : {"/etc/passwd", "..", "../x", "a/../b", "../../x", ""}) {
        EXPECT_EQ(CodeOf({{Kind::kFile, "a/x", "x"}, {Kind::kSymbolicLink, "link", target}}),
                  ErrorCode::kArchiveUnsafe)
            << target;
    }
    EXPECT_EQ(CodeOf({{Kind::kSymbolicLink, "a/link", "../.."}}), ErrorCode::kArchiveUnsafe);
    // By the names alone it stays inside; but "up" is the root, and what is above that is outside.
    EXPECT_EQ(
        CodeOf({{Kind::kSymbolicLink, "d/e/up", "../.."}, {Kind::kSymbolicLink, "link", "d/e/up/../x"}}),
        ErrorCode::kArchiveUnsafe);
    EXPECT_EQ(CodeOf({{Kind::kSymbolicLink, "d/e/link", "f/../g"}}), ErrorCode::kArchiveUnsafe);
    for (const char* const target : {"/etc/passwd", "../x", "missing", "folder"}) {
        EXPECT_EQ(CodeOf({{Kind::kFolder, "folder"}, {Kind::kHardLink, "link", target}}),
                  ErrorCode::kArchiveUnsafe)
            << target;
    }
    EXPECT_EQ(CodeOf({{Kind::kFile, "x", "x"}, {Kind::kSymbolicLink, "s", "x"}, {Kind::kHardLink, "h", "s"}}),
              ErrorCode::kArchiveUnsafe);
}

TEST(Unpack, UnpacksNothingThroughALinkAndNothingTwice) {
    EXPECT_EQ(CodeOf({{Kind::kFolder, "a"}, {Kind::kSymbolicLink, "s", "a"}, {Kind::kFile, "s/x", "x"}}),
              ErrorCode::kArchiveUnsafe);
    EXPECT_EQ(CodeOf({{Kind::kFile, "a", "x"}, {Kind::kFile, "a/x", "x"}}), ErrorCode::kArchiveUnsafe);
    EXPECT_EQ(CodeOf({{Kind::kFile, "a", "x"}, {Kind::kFile, "./a", "y"}}), ErrorCode::kArchiveUnsafe);
    EXPECT_EQ(CodeOf({{Kind::kSymbolicLink, "a", "b"}, {Kind::kFile, "a", "y"}}), ErrorCode::kArchiveUnsafe);
    EXPECT_EQ(CodeOf({{Kind::kFile, "a/x", "x"}, {Kind::kFolder, "a"}, {Kind::kFolder, "a"}}), std::nullopt);
}

TEST(Unpack, RefusesWhatIsNeitherFileNorFolderNorLink) {
    EXPECT_EQ(CodeOf({{Kind::kPipe, "pipe"}}), ErrorCode::kArchiveUnsafe);
}

TEST(Unpack, RefusesNamesAndPathsThatAreTooLong) {
    std::string deep;
    for (int i = 0; i != 65; ++i) deep += "d/";
    EXPECT_EQ(CodeOf({{Kind::kFile, deep + "x", "x"}}), ErrorCode::kArchiveUnsafe);
    EXPECT_EQ(CodeOf({{Kind::kFile, std::string(256, 'n'), "x"}}), ErrorCode::kArchiveUnsafe);
    EXPECT_EQ(CodeOf({{Kind::kFile, std::string(255, 'n'), "x"}}), std::nullopt);
}

TEST(Unpack, StopsAtABomb) {
    const std::string bomb =
        MakeArchive({{Kind::kFile, "zeros", std::string(std::size_t{4} << 20U, '\0')}}, Compression::kGzip);
    EXPECT_LT(bomb.size(), std::size_t{20'000});
    EXPECT_EQ(CodeOf(bomb), ErrorCode::kArchiveTooLarge);
    EXPECT_EQ(CodeOf(bomb, {std::uint64_t{4} << 20U}), std::nullopt);
}

TEST(Unpack, StopsAtTooManyEntries) {
    std::vector<Entry> entries;
    for (int i = 0; i != 11; ++i) entries.push_back({Kind::kFile, "f" + std::to_string(i), ""});
    EXPECT_EQ(CodeOf(MakeArchive(entries), {1000, 10}), ErrorCode::kArchiveTooLarge);
    EXPECT_EQ(CodeOf(MakeArchive(entries), {1000, 11}), std::nullopt);
    // Folders that are there already, and those that are made on the way.
    EXPECT_EQ(CodeOf(MakeArchive(std::vector<Entry>(20, Entry{Kind::kFolder, "a"})), {1000, 10}),
              ErrorCode::kArchiveTooLarge);
    EXPECT_EQ(CodeOf(MakeArchive({{Kind::kFile, "a/b/c/d/e/f", ""}}), {1000, 5}),
              ErrorCode::kArchiveTooLarge);
}

TEST(Unpack, SaysThatAnArchiveIsBroken) {
    const std::string plain = MakeArchive({{Kind::kFile, "a", Noise(50'000)}});
    const std::string packed = MakeArchive({{Kind::kFile, "a", Noise(50'000)}}, Compression::kGzip);
    EXPECT_EQ(CodeOf(plain.substr(0, 20'000)), ErrorCode::kArchiveBroken);
    EXPECT_EQ(CodeOf(packed.substr(0, 20'000)), ErrorCode::kArchiveBroken);
    EXPECT_EQ(CodeOf(Noise(20'000)), ErrorCode::kArchiveBroken);
    EXPECT_EQ(CodeOf(std::string()), ErrorCode::kArchiveBroken);
    EXPECT_EQ(CodeOf(MakeArchive({})), ErrorCode::kArchiveBroken);
}

TEST(Unpack, TakesOffOneLayerOfCompressionAndStreamsOneBehindAnother) {
    const std::string plain = MakeArchive({{Kind::kFile, "a", Noise(50'000)}});
    for (const Compression compression :
         {Compression::kGzip, Compression::kBzip2, Compression::kXz, Compression::kZstd}) {
        const std::string first = Compressed(plain.substr(0, 20'000), compression);
        const std::string both = first + Compressed(plain.substr(20'000), compression);
        for (const std::size_t pieceBytes : {std::size_t{1}, std::size_t{7}, both.size()}) {
            const ScratchFolder scratch;
            UnpackText(both, scratch.Path(), {std::uint64_t{1} << 20U}, pieceBytes);
            EXPECT_EQ(Read(scratch.Path() / "a"), Noise(50'000));
        }
        EXPECT_EQ(CodeOf(first), ErrorCode::kArchiveBroken);
        EXPECT_EQ(CodeOf(both.substr(0, both.size() - 3'000)), ErrorCode::kArchiveBroken);
        EXPECT_EQ(CodeOf(first + "rubbish"), ErrorCode::kArchiveBroken);
        EXPECT_EQ(CodeOf(both + "rubbish that nobody asks for"), std::nullopt);
        std::string bent = first;
        for (std::size_t place = 2'000; place < 2'020; ++place) bent[place] = '\x55';
        EXPECT_EQ(CodeOf(bent), ErrorCode::kArchiveBroken);
        // What comes out would be compressed again: the work for a byte would have no bound.
        EXPECT_EQ(CodeOf(Compressed(Compressed(plain, compression), compression)), ErrorCode::kArchiveBroken);
    }
}

// A field of the compression's own header says how much memory it needs; only that is changed here.
TEST(Unpack, RefusesCompressionThatNeedsMuchMemory) {
    std::string xz = MakeArchive({{Kind::kFile, "a", "x"}}, Compression::kXz);
    constexpr std::size_t kBlock = 12;
    const std::size_t size = (static_cast<unsigned char>(xz[kBlock]) + std::size_t{1}) * 4;
    const std::size_t window = xz.find("\x21\x01", kBlock) + 2;
    ASSERT_LT(window, kBlock + size);
    const auto withWindow = [&](char inCode) {
        xz[window] = inCode;
        const auto sum =
            ::crc32(0, reinterpret_cast<const Bytef*>(xz.data() + kBlock), static_cast<uInt>(size - 4));
        for (unsigned place = 0; place != 4; ++place) {
            xz[kBlock + size - 4 + place] = static_cast<char>(sum >> (8 * place));
        }
        return xz;
    };
    EXPECT_EQ(CodeOf(withWindow(26)), std::nullopt);                 // 32 MiB
    EXPECT_EQ(CodeOf(withWindow(27)), ErrorCode::kArchiveTooLarge);  // 48 MiB
    std::string zstd = MakeArchive({{Kind::kFile, "a", "x"}}, Compression::kZstd);
    ASSERT_EQ(zstd[4] & 0x20, 0);  // it says its window
    zstd[5] = static_cast<char>((25 - 10) << 3);
    EXPECT_EQ(CodeOf(zstd), std::nullopt);
    zstd[5] = static_cast<char>((26 - 10) << 3);
    EXPECT_EQ(CodeOf(zstd), ErrorCode::kArchiveTooLarge);
}

TEST(Unpack, RefusesABodyThatIsNoFiles) {
    const std::string file = RawEntry('0', "file", "", "x");
    const std::string body(2'000, 'b');
    EXPECT_EQ(CodeOf(file + RawEntry('1', "link", "file", "")), std::nullopt);
    const std::string modern = RawAttribute("comment", "here hard links may have bodies");
    EXPECT_EQ(CodeOf(file + modern + RawEntry('1', "link", "file", "")), std::nullopt);
    EXPECT_EQ(CodeOf(file + modern + RawEntry('1', "link", "file", body)), ErrorCode::kArchiveUnsafe);
    EXPECT_EQ(CodeOf(file + RawEntry('D', "folder", "", body)), ErrorCode::kArchiveUnsafe);
    for (const char type : {'2', '5'}) {
        EXPECT_NE(CodeOf(file + RawEntry(type, "other", "file", body)), std::nullopt) << type;
    }
}

TEST(Unpack, StopsAtHeadersThatAreLargerThanTheFiles) {
    const std::string large = RawAttribute("comment", std::string(500'000, 'c'));
    std::string archive = large + RawEntry('0', "file", "", "x");
    EXPECT_EQ(CodeOf(archive), std::nullopt);
    for (const char* const name : {"a", "b", "c", "d"}) archive += large + RawEntry('0', name, "", "x");
    EXPECT_EQ(CodeOf(archive), ErrorCode::kArchiveTooLarge);
    EXPECT_EQ(CodeOf(Compressed(archive, Compression::kGzip)), ErrorCode::kArchiveTooLarge);
}

// Each hole takes memory that grows faster than the archive.
TEST(Unpack, StopsAtAFileOfTooManyHoles) {
    const auto archive = [](int inHoles) {
        std::string map = std::to_string(inHoles) + "\n";
        for (int hole = 0; hole != inHoles; ++hole) map += "0\n0\n";
        map.resize((map.size() + 511) / 512 * 512);
        std::string attributes;
        for (const char* const attribute : {"22 GNU.sparse.major=1\n", "22 GNU.sparse.minor=0\n",
                                            "22 GNU.sparse.name=f\n", "29 GNU.sparse.realsize=1000\n"}) {
            attributes += attribute;
        }
        return RawEntry('x', "attributes", "", attributes) + RawEntry('0', "f", "", map);
    };
    EXPECT_EQ(CodeOf(archive(10), {std::uint64_t{100} << 20U}), std::nullopt);
    EXPECT_EQ(CodeOf(archive(700'000), {std::uint64_t{100} << 20U}), ErrorCode::kArchiveTooLarge);
}

TEST(Unpack, StopsAtTooMuchTextInPathsAndLinks) {
    const auto limited = [](std::size_t inTextBytes) {
        ArchiveLimits limits{1000};
        limits.mMaxTextBytes = inTextBytes;
        return limits;
    };
    // "folder", "folder/name", "link" and its target, "hard" and its target
    const std::string archive = MakeArchive({{Kind::kFile, "folder/name", "x"},
                                             {Kind::kSymbolicLink, "link", "somewhere"},
                                             {Kind::kHardLink, "hard", "folder/name"}});
    EXPECT_EQ(CodeOf(archive, limited(6 + 11 + 4 + 9 + 4 + 11)), std::nullopt);
    EXPECT_EQ(CodeOf(archive, limited(6 + 11 + 4 + 9 + 4 + 10)), ErrorCode::kArchiveTooLarge);
    EXPECT_EQ(CodeOf(archive, limited(6 + 11 + 4 + 8)), ErrorCode::kArchiveTooLarge);
    EXPECT_EQ(CodeOf(archive, limited(6 + 10)), ErrorCode::kArchiveTooLarge);
}

// All of the archive comes at once, and the stop with it: nothing but the unpacking itself can notice.
TEST(Unpack, IsStoppedWhereverItIs) {
    const std::string zeros(std::size_t{8} << 20U, '\0');
    const std::vector<Entry> entries{{Kind::kFile, "zeros", zeros}};
    std::string hole = RawEntry('x', "attributes", "",
                                "22 GNU.sparse.major=1\n22 GNU.sparse.minor=0\n22 GNU.sparse.name=f\n"
                                "33 GNU.sparse.realsize=900000000\n");
    hole += RawEntry('0', "f", "", "1\n900000000\n0\n" + std::string(512 - 14, '\0'));
    for (const std::string& archive :
         {MakeArchive(entries), MakeArchive(entries, Compression::kGzip), hole}) {
        const ScratchFolder scratch;
        std::stop_source stop;
        bool hasRead = false;
        EXPECT_THROW(Unpack(
                         [&] {
                             if (std::exchange(hasRead, true)) return std::span<const std::byte>();
                             stop.request_stop();
                             return std::as_bytes(std::span(archive));
                         },
                         scratch.Path().string(), {std::uint64_t{1} << 30U},
                         {[](std::uint64_t) {}, [](const ListedFile&) {}}, stop.get_token()),
                     Cancelled);
    }
}

TEST(Unpack, PassesOnWhatTheSourceThrows) {
    const ScratchFolder scratch;
    EXPECT_THROW(Unpack([]() -> std::span<const std::byte> { throw Cancelled(); }, scratch.Path().string(),
                        {}, {[](std::uint64_t) {}, [](const ListedFile&) {}}, {}),
                 Cancelled);
}

}  // namespace zarnd_test
