#include "unpack/Unpack.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "common/Failure.h"
#include "support/Archives.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using Kind = Entry::Kind;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kPieceBytes = 1000;

std::map<std::string, ManifestEntry> UnpackText(const std::string& inArchive, const fs::path& inFolder,
                                                ArchiveLimits inLimits = {std::uint64_t{1} << 20U}) {
    std::size_t place = 0;
    return Unpack(
        [&] {
            const std::string_view piece = std::string_view(inArchive).substr(place, kPieceBytes);
            place += piece.size();
            return std::as_bytes(std::span(piece));
        },
        inFolder.string(), inLimits, [](std::uint64_t) {});
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
    for (const bool isCompressed : {false, true}) {
        const ScratchFolder scratch;
        const auto made = UnpackText(MakeArchive({{Kind::kFolder, "./"},
                                                  {Kind::kFolder, "bin", "", 0755},
                                                  {Kind::kFile, "./bin/tool", big, 04755},
                                                  {Kind::kFile, "deep/down/text", "words", 0600},
                                                  {Kind::kFile, "empty", ""},
                                                  {Kind::kFile, "N\xC3\xA4me", "utf"},
                                                  {Kind::kSymbolicLink, "deep/link", "../bin/tool"},
                                                  {Kind::kHardLink, "hard", "bin/tool"}},
                                                 isCompressed),
                                     scratch.Path());
        EXPECT_EQ(Read(scratch.Path() / "bin" / "tool"), big);
        EXPECT_EQ(Read(scratch.Path() / "deep" / "link"), big);
        EXPECT_EQ(Read(scratch.Path() / "hard"), big);
        EXPECT_EQ(Read(scratch.Path() / "deep" / "down" / "text"), "words");
        EXPECT_EQ(Read(scratch.Path() / "N\xC3\xA4me"), "utf");
        EXPECT_EQ(made.size(), 6U);
        EXPECT_EQ(made.at("bin/tool"), (ManifestEntry{big.size(), DigestOf(big), ""}));
        EXPECT_EQ(made.at("hard"), made.at("bin/tool"));
        EXPECT_EQ(made.at("deep/link"), (ManifestEntry{0, "", "../bin/tool"}));
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
        MakeArchive({{Kind::kFile, "zeros", std::string(std::size_t{4} << 20U, '\0')}}, true);
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
    const std::string packed = MakeArchive({{Kind::kFile, "a", Noise(50'000)}}, true);
    EXPECT_EQ(CodeOf(plain.substr(0, 20'000)), ErrorCode::kArchiveBroken);
    EXPECT_EQ(CodeOf(packed.substr(0, 20'000)), ErrorCode::kArchiveBroken);
    EXPECT_EQ(CodeOf(Noise(20'000)), ErrorCode::kArchiveBroken);
    EXPECT_EQ(CodeOf(std::string()), ErrorCode::kArchiveBroken);
    EXPECT_EQ(CodeOf(MakeArchive({})), ErrorCode::kArchiveBroken);
}

TEST(Unpack, PassesOnWhatTheSourceThrows) {
    const ScratchFolder scratch;
    EXPECT_THROW(Unpack([]() -> std::span<const std::byte> { throw Cancelled(); }, scratch.Path().string(),
                        {}, [](std::uint64_t) {}),
                 Cancelled);
}

}  // namespace zarnd_test
