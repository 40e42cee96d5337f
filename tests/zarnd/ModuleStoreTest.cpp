// What is installed: its records, its comparison with them, its removal.
#include <gmock/gmock.h>

#include "install/FileList.h"
#include "support/InstallFixture.h"

namespace zarnd_test {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

TEST_F(Installing, IsNotSweptAwayWhenItCannotBeToldWhatIsInstalled) {
    Run(ModuleOf(kNew, Address(kNew)));
    const fs::path module = mRoot / "QRTX" / "KQ7L";
    const fs::path before = fs::read_symlink(module / "current");
    for (const char* const target : {"./.", "a b"}) {  // which no service has written
        fs::remove(module / "current");
        fs::create_symlink(target, module / "current");
        mStore.Sweep();
        EXPECT_TRUE(fs::exists(module / before / "files")) << target;
        EXPECT_FALSE(mStore.Installed("QRTX", "KQ7L"));
    }
    fs::remove(module / "current");
    Write(module / "current", "no link");
    mStore.Sweep();
    EXPECT_TRUE(fs::exists(module / before / "files"));
    fs::remove(module / "current");
    mStore.Sweep();
    EXPECT_FALSE(fs::exists(module));
}

TEST_F(Installing, IsVerifiedFileByFile) {
    const std::string archive = MakeArchive({{Entry::Kind::kFile, "a", "aa"},
                                             {Entry::Kind::kFile, "b", "bb"},
                                             {Entry::Kind::kFile, "c", "cc"},
                                             {Entry::Kind::kFile, "d/d", "dd"},
                                             {Entry::Kind::kSymbolicLink, "l", "a"}});
    Run(ModuleOf(archive, Address(archive)));
    const auto damages = [&](std::size_t inMost = 99) {
        std::vector<std::string> texts;
        for (const Damage& damage : mStore.Verify("QRTX", "KQ7L", inMost)) {
            texts.push_back(damage.mPath + " " + damage.mWhat);
        }
        return texts;
    };
    EXPECT_THAT(damages(), IsEmpty());
    const fs::path files = mStore.Files("QRTX", "KQ7L");
    Write(files / "a", "xx");
    Write(files / "b", "bbb");
    fs::remove(files / "c");
    fs::remove(files / "l");
    fs::create_symlink("b", files / "l");
    Write(files / "d" / "more", "");
    EXPECT_THAT(damages(), ElementsAre("a has another content", "b has another size", "c is missing",
                                       "l is another link", "d/more is not part of it"));
    EXPECT_EQ(damages(2).size(), 2U);
    EXPECT_THROW((void)mStore.Verify("QRTX", "NONE", 1), Failure);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW((void)mStore.Verify("QRTX", "KQ7L", 99, stop.get_token()), Cancelled);
}

TEST_F(Installing, IsDamagedWhenAProgramCannotBeRunAnyMore) {
    const std::string archive =
        MakeArchive({{Entry::Kind::kFile, "tool", "t", 0755}, {Entry::Kind::kFile, "words", "w"}});
    Run(ModuleOf(archive, Address(archive)));
    const fs::path files = mStore.Files("QRTX", "KQ7L");
    fs::permissions(files / "tool", fs::perms::owner_exec, fs::perm_options::remove);
    fs::permissions(files / "words", fs::perms::owner_exec, fs::perm_options::add);
    const auto damages = mStore.Verify("QRTX", "KQ7L", 9);
    ASSERT_EQ(damages.size(), 2U);
    EXPECT_EQ(damages[0].mWhat, "is not executable");
    EXPECT_EQ(damages[1].mWhat, "is executable");
}

TEST_F(Installing, IsDamagedWhenTheListOfItsFilesIs) {
    Run(ModuleOf(kNew, Address(kNew)));
    const fs::path list = mRoot / "QRTX" / "KQ7L" / "current" / "files.jsonl";
    const std::string honest = Read(list);
    const std::string shorter = honest.substr(honest.find('\n') + 1);
    for (const std::string& text :
         {std::string(), shorter, honest + honest, honest.substr(0, honest.size() - 2), std::string("{}\n"),
          std::string("[1]\n"), std::string("x\n"), std::string("{\"path\":1}\n"),
          std::string(200'000, 'x')}) {
        Write(list, text);
        const auto damages = mStore.Verify("QRTX", "KQ7L", 9);
        ASSERT_EQ(damages.size(), 1U) << text;
        EXPECT_EQ(damages[0].mPath, "files.jsonl");
    }
    Write(list, honest);
    EXPECT_THAT(mStore.Verify("QRTX", "KQ7L", 9), IsEmpty());
    fs::remove(list);
    EXPECT_EQ(mStore.Verify("QRTX", "KQ7L", 9).size(), 1U);
}

// Longer than any text of JSON that is read at once.
TEST(FileList, IsReadHoweverLongItIs) {
    const ScratchFolder scratch;
    constexpr int kFiles = 40'000;
    const auto file = [](int inNumber) {
        ListedFile listed{
            std::to_string(inNumber) + "/" + std::string(2'000, '"'), 7, std::string(64, 'a'), false, {}};
        if (inNumber % 2 == 1) listed = {listed.mPath, 0, {}, false, std::string(100, '\\')};
        return listed;
    };
    FileListWriter writer(scratch.Path() / "list");
    for (int number = 0; number != kFiles; ++number) writer.Add(file(number));
    const FileListSummary summary = writer.Finish();
    EXPECT_EQ(summary.mSize, 7U * kFiles / 2);
    EXPECT_GT(fs::file_size(scratch.Path() / "list"), std::uintmax_t{128} << 20U);
    FileListReader reader(scratch.Path() / "list");
    for (int number = 0; number != kFiles; ++number) ASSERT_EQ(reader.Next(), file(number)) << number;
    EXPECT_EQ(reader.Next(), std::nullopt);
    EXPECT_EQ(reader.Finish(), summary);
}

TEST_F(Installing, IsRemovedAsAWhole) {
    EXPECT_FALSE(mStore.Remove("QRTX", "KQ7L"));
    Run(ModuleOf(kNew, Address(kNew)));
    EXPECT_TRUE(mStore.Remove("QRTX", "KQ7L"));
    EXPECT_FALSE(mStore.Installed("QRTX", "KQ7L"));
    EXPECT_FALSE(fs::exists(mRoot / "QRTX" / "KQ7L"));
}

TEST_F(Installing, IsNotTakenForDoneWithoutAReadableRecord) {
    Run(ModuleOf(kNew, Address(kNew)));
    const fs::path manifest = mRoot / "QRTX" / "KQ7L" / "current" / "manifest.json";
    for (const char* const text : {"", "{}", "[]", "{\"product\":1}", "{\"product\":\"QRTX\"}"}) {
        Write(manifest, text);
        EXPECT_FALSE(mStore.Installed("QRTX", "KQ7L")) << text;
    }
    Run(ModuleOf(kOld, Address(kOld)));
    EXPECT_EQ(Text(), "old");
}

TEST_F(Installing, SweepsWhatWasLeftAndNothingElse) {
    Run(ModuleOf(kOld, Address(kOld)));
    Write(mRoot / "QRTX" / "KQ7L" / "g-left" / "files" / "x", "x");
    fs::create_symlink("g-left", mRoot / "QRTX" / "KQ7L" / "to-g-left");
    Write(mRoot / "QRTX" / "NEVER" / "g-left" / "files" / "x", "x");
    Write(mRoot / "OTHER" / "NEVER" / "g-left" / "files" / "x", "x");
    mStore.Sweep();
    EXPECT_EQ(Text(), "old");
    EXPECT_EQ(CountEntries(), 2U);
    EXPECT_FALSE(fs::exists(mRoot / "QRTX" / "NEVER"));
    EXPECT_FALSE(fs::exists(mRoot / "OTHER"));
}

}  // namespace zarnd_test
