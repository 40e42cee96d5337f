#include "install/Install.h"

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include "common/Failure.h"
#include "install/BytePipe.h"
#include "install/FileList.h"
#include "processes/RunningPrograms.h"
#include "support/Archives.h"
#include "support/ChildProcess.h"
#include "support/HttpServer.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

namespace {

const std::string kOld = MakeArchive({{Entry::Kind::kFile, "text", "old"}});
const std::string kNew =
    MakeArchive({{Entry::Kind::kFile, "text", "new"}, {Entry::Kind::kFile, "more", Noise(90'000)}});

class Installing : public testing::Test {
  protected:
    std::string Address(const std::string& inArchive, const std::string& inName = "archive.tar") const {
        Write(mScratch.Path() / inName, inArchive);
        return "file://" + (mScratch.Path() / inName).string();
    }
    void Run(const ModuleSpec& inModule, const std::stop_token& inStop = {}) {
        InstallWatch watch{[this](InstallStep inStep) { OnStep(inStep); }, [](double) {}};
        Install("QRTX", inModule, mStore, mSettings, mConflicts, watch, inStop);
    }
    void OnStep(InstallStep inStep) {
        if (mOnStep) mOnStep(inStep);
    }
    std::optional<ErrorCode> CodeOf(const ModuleSpec& inModule) {
        try {
            Run(inModule);
            return std::nullopt;
        } catch (const Failure& failure) {
            mSentence = failure.what();
            return failure.Code();
        }
    }
    [[nodiscard]] std::string Text() const { return Read(mStore.Files("QRTX", "KQ7L") / "text"); }
    /// What lies in the module's folder.
    [[nodiscard]] std::size_t CountEntries() const {
        std::error_code none;
        const fs::directory_iterator entries(mRoot / "QRTX" / "KQ7L", none);
        return none ? 0 : static_cast<std::size_t>(std::distance(entries, fs::directory_iterator()));
    }

    ScratchFolder mScratch;
    fs::path mRoot = mScratch.Path() / "modules";
    ModuleStore mStore{mRoot};
    FetchSettings mSettings;
    ConflictFinder mConflicts = [](const std::vector<std::string>&) { return std::vector<std::string>(); };
    std::function<void(InstallStep)> mOnStep;
    std::string mSentence;
};

}  // namespace

TEST_F(Installing, BringsFilesAndARecordOfThem) {
    ModuleSpec module = ModuleOf(kNew, Address(kNew));
    module.mNeeds = {"BASE"};
    Run(module);
    EXPECT_EQ(Text(), "new");
    const auto manifest = mStore.Installed("QRTX", "KQ7L");
    ASSERT_TRUE(manifest);
    EXPECT_EQ(manifest->mVersion, "1.0");
    EXPECT_EQ(manifest->mArchiveSha256, module.mSha256);
    EXPECT_THAT(manifest->mNeeds, ElementsAre("BASE"));
    EXPECT_EQ(manifest->Size(), 90'003U);
    EXPECT_EQ(ReadManifest(WriteManifest(*manifest)), *manifest);
    EXPECT_EQ(mStore.List("").size(), 1U);
    EXPECT_EQ(mStore.List("OTHER").size(), 0U);
}

TEST_F(Installing, ReplacesWhatWasBeforeAndKeepsThatForHostsThatRun) {
    Run(ModuleOf(kNew, Address(kNew)));
    const fs::path before = fs::canonical(mStore.Files("QRTX", "KQ7L"));
    Run(ModuleOf(kOld, Address(kOld)));
    EXPECT_EQ(Text(), "old");
    EXPECT_FALSE(fs::exists(mStore.Files("QRTX", "KQ7L") / "more"));
    EXPECT_EQ(Read(before / "text"), "new");
    EXPECT_EQ(CountEntries(), 3U);
    const fs::path then = fs::canonical(mStore.Files("QRTX", "KQ7L"));
    Run(ModuleOf(kNew, Address(kNew)));
    EXPECT_FALSE(fs::exists(before));
    EXPECT_TRUE(fs::exists(then));
    EXPECT_EQ(CountEntries(), 3U);
    mStore.Sweep();
    EXPECT_EQ(Text(), "new");
    EXPECT_EQ(CountEntries(), 2U);
}

// No descriptor is to be had any more: the folder can't be opened to wait for the disk.
TEST_F(Installing, IsDoneOnceItHasBeenSwitched) {
    const std::string old = Address(kOld, "old.tar");
    const std::string fresh = Address(kNew, "new.tar");
    Run(ModuleOf(kOld, old));
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    mOnStep = [&](InstallStep inStep) {
        rlimit limit = before;
        if (inStep == InstallStep::kSwitching) limit.rlim_cur = 0;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    };
    EXPECT_EQ(CodeOf(ModuleOf(kNew, fresh)), std::nullopt);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(Text(), "new");
    EXPECT_THAT(mStore.Verify("QRTX", "KQ7L", 9), IsEmpty());
}

TEST_F(Installing, LeavesNoFolderWhenTheFirstOneFails) {
    const std::string broken = kNew.substr(0, 40'000);
    EXPECT_EQ(CodeOf(ModuleOf(broken, Address(broken))), ErrorCode::kArchiveBroken);
    EXPECT_TRUE(fs::is_empty(mRoot));
    Run(ModuleOf(kOld, Address(kOld)));
    EXPECT_TRUE(mStore.Remove("QRTX", "KQ7L"));
    EXPECT_TRUE(fs::is_empty(mRoot));
}

TEST_F(Installing, LeavesTheOldStateWhateverFails) {
    Run(ModuleOf(kOld, Address(kOld)));
    const auto expect = [&](const ModuleSpec& inModule, ErrorCode inCode) {
        EXPECT_EQ(CodeOf(inModule), inCode);
        EXPECT_EQ(Text(), "old");
        EXPECT_EQ(CountEntries(), 2U);
    };
    ModuleSpec module = ModuleOf(kNew, Address(kNew));
    module.mSha256[0] = module.mSha256[0] == 'a' ? 'b' : 'a';
    expect(module, ErrorCode::kOtherDigest);
    module = ModuleOf(kNew, Address(kNew));
    module.mSize += 1;
    expect(module, ErrorCode::kOtherSize);
    module = ModuleOf(kNew, Address(kNew));
    module.mUnpackedSize = 1000;
    expect(module, ErrorCode::kArchiveTooLarge);
    expect(ModuleOf(kNew, "file:///nonexistent"), ErrorCode::kRefused);
    const std::string evil =
        MakeArchive({{Entry::Kind::kFile, "text", "evil"}, {Entry::Kind::kFile, "../x", "x"}});
    expect(ModuleOf(evil, Address(evil)), ErrorCode::kArchiveUnsafe);
    const std::string half = kNew.substr(0, 40'000);
    expect(ModuleOf(half, Address(half)), ErrorCode::kArchiveBroken);
    EXPECT_FALSE(fs::exists(mRoot / "QRTX" / "x"));
}

TEST_F(Installing, BlamesTheDigestWhereItExplainsTheRest) {
    ModuleSpec module = ModuleOf(kNew, Address(Noise(kNew.size())));
    EXPECT_EQ(CodeOf(module), ErrorCode::kOtherDigest);
}

TEST_F(Installing, GoesOnAndBeginsAnewAsTheServerAllows) {
    for (const bool hasRanges : {true, false}) {
        HttpServer server([&](const Question& inQuestion) {
            Answer answer = hasRanges ? Content(inQuestion, kNew) : Answer{200, kNew, {"ETag: \"one\""}};
            if (inQuestion.mNumber == 0) answer.mCutAfter = 50'000;
            return answer;
        });
        mSettings.mRetry.mFirstDelay = std::chrono::milliseconds(1);
        Run(ModuleOf(kNew, server.Address()));
        EXPECT_EQ(server.Questions(), 2);
        EXPECT_THAT(mStore.Verify("QRTX", "KQ7L", 9), IsEmpty());
        mStore.Remove("QRTX", "KQ7L");
    }
}

TEST_F(Installing, TellsSharesThatReachTheWhole) {
    const std::string archive = MakeArchive({{Entry::Kind::kFile, "a", Noise(2'000'000)}});
    std::mutex mutex;
    double most = 0;
    const InstallWatch watch{[](InstallStep) {},
                             [&](double inShare) {
                                 const std::lock_guard lock(mutex);
                                 most = std::max(most, inShare);
                             }};
    Install("QRTX", ModuleOf(archive, Address(archive)), mStore, mSettings, mConflicts, watch, {});
    EXPECT_GT(most, 0.9);
    EXPECT_LE(most, 1.0);
}

TEST_F(Installing, RefusesBesideConflictingProgramsAtTheBeginAndBeforeTheSwitch) {
    ModuleSpec module = ModuleOf(kNew, Address(kNew));
    module.mConflicts = {"editor", "viewer", "player"};
    bool isRunning = true;
    mConflicts = [&](const std::vector<std::string>& inNames) {
        return isRunning ? std::vector{inNames[0], inNames[2]} : std::vector<std::string>();
    };
    EXPECT_EQ(CodeOf(module), ErrorCode::kConflictingProcesses);
    EXPECT_EQ(mSentence, "editor,player");
    isRunning = false;
    mOnStep = [&](InstallStep inStep) { isRunning = inStep == InstallStep::kCompleting; };
    EXPECT_EQ(CodeOf(module), ErrorCode::kConflictingProcesses);
    EXPECT_FALSE(mStore.Installed("QRTX", "KQ7L"));
    mOnStep = nullptr;
    isRunning = false;
    EXPECT_EQ(CodeOf(module), std::nullopt);
}

TEST_F(Installing, IsCancelledAtAnyTimeBeforeTheSwitch) {
    Run(ModuleOf(kOld, Address(kOld)));
    for (const InstallStep step : {InstallStep::kFetching, InstallStep::kCompleting}) {
        std::stop_source stop;
        mOnStep = [&](InstallStep inStep) {
            if (inStep == step) stop.request_stop();
        };
        EXPECT_THROW(Run(ModuleOf(kNew, Address(kNew)), stop.get_token()), Cancelled);
        EXPECT_EQ(Text(), "old");
        EXPECT_EQ(CountEntries(), 2U);
    }
}

TEST_F(Installing, IsCancelledInTheMiddleOfAStreamThatStands) {
    HttpServer server([](const Question& inQuestion) {
        Answer answer = Content(inQuestion, kNew);
        answer.mCutAfter = 50'000;
        answer.mStalls = true;
        return answer;
    });
    std::stop_source stop;
    const InstallWatch watch{[](InstallStep) {}, [&](double) { stop.request_stop(); }};
    EXPECT_THROW(Install("QRTX", ModuleOf(kNew, server.Address()), mStore, mSettings, mConflicts, watch,
                         stop.get_token()),
                 Cancelled);
    EXPECT_EQ(CountEntries(), 0U);
}

TEST_F(Installing, SaysThatTheDiskIsFullAndLeavesNothing) {
    const std::string archive = MakeArchive({{Entry::Kind::kFile, "big", Noise(std::size_t{32} << 20U)}});
    fs::create_directories(mRoot);
    if (::mount("none", mRoot.c_str(), "tmpfs", 0, "size=4m") != 0) {
        GTEST_SKIP()
            << "NOT TESTED: what becomes of a full disk. A small file system must be mounted for it, which "
               "only root may";
    }
    Run(ModuleOf(kOld, Address(kOld)));
    EXPECT_EQ(CodeOf(ModuleOf(archive, Address(archive))), ErrorCode::kDiskFull);
    EXPECT_EQ(Text(), "old");
    // It doesn't bring the rest for nothing, and so never learns that the digest would have been wrong.
    ModuleSpec wrong = ModuleOf(archive, Address(archive));
    wrong.mSha256 = std::string(64, '0');
    EXPECT_EQ(CodeOf(wrong), ErrorCode::kDiskFull);
    EXPECT_EQ(CountEntries(), 2U);
    EXPECT_EQ(::umount(mRoot.c_str()), 0);
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

// A process that installs and is killed at a step, or in the middle of the archive.
TEST_F(Installing, LeavesTheOldOrTheNewStateWhenItIsKilled) {
    const std::string old = Address(kOld, "old.tar");
    const std::string fresh = Address(kNew, "new.tar");
    for (const char* const step : {"fetching", "middle", "completing", "switching", "installed"}) {
        Run(ModuleOf(kOld, old));
        const auto killed = support::Run(
            {{INSTALL_PROGRAM, mRoot.string(), fresh, DigestOf(kNew), std::to_string(kNew.size()), step}});
        ASSERT_EQ(killed.mExitCode, 128 + SIGKILL) << step << killed.mErrors;
        EXPECT_EQ(Text(), std::string(step) == "installed" ? "new" : "old") << step;
        EXPECT_THAT(mStore.Verify("QRTX", "KQ7L", 9), IsEmpty()) << step;
        mStore.Sweep();
        EXPECT_EQ(CountEntries(), 2U) << step;
        Run(ModuleOf(kNew, fresh));
        EXPECT_EQ(Text(), "new") << step;
    }
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

TEST(RunningPrograms, AreThoseOfThisUserByTheirExecutable) {
    const ScratchFolder scratch;
    fs::copy_file("/bin/sleep", scratch.Path() / "zarnd-test-editor");
    EXPECT_THAT(RunningPrograms({"zarnd-test-editor"}), IsEmpty());
    support::ChildProcess editor({{(scratch.Path() / "zarnd-test-editor").string(), "100"}});
    EXPECT_THAT(RunningPrograms({"none", "zarnd-test-editor", "nothing"}), ElementsAre("zarnd-test-editor"));
    fs::remove(scratch.Path() / "zarnd-test-editor");
    EXPECT_THAT(RunningPrograms({"zarnd-test-editor"}), ElementsAre("zarnd-test-editor"));
}

TEST(BytePipe, PassesBytesOnInOrderAndBoundedMemory) {
    const std::string text = Noise(std::size_t{12} << 20U);
    BytePipe pipe;
    std::thread writer([&] {
        for (std::size_t place = 0, size = 1; place < text.size();
             place += size, size = size * 3 % 700'001 + 1) {
            pipe.Write(std::as_bytes(std::span(std::string_view(text).substr(place, size))), {});
        }
        pipe.End();
    });
    std::string read;
    for (auto bytes = pipe.Read({}); !bytes.empty(); bytes = pipe.Read({})) {
        EXPECT_LE(bytes.size(), BytePipe::kBlockBytes);
        read.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    writer.join();
    EXPECT_TRUE(read == text);
}

TEST(BytePipe, HoldsTheWriterUpUntilItIsStoppedOrTheReaderLeaves) {
    const std::string much(BytePipe::kBlockBytes * (BytePipe::kMaxBlocks + 1), 'x');
    const auto bytes = std::as_bytes(std::span(much));
    BytePipe stopped;
    std::stop_source stop;
    std::thread stopper([&] { stop.request_stop(); });
    EXPECT_THROW(stopped.Write(bytes, stop.get_token()), Cancelled);
    stopper.join();
    EXPECT_THROW((void)stopped.Read(stop.get_token()), Cancelled);
    BytePipe left;
    std::thread leaver([&] { left.Leave(); });
    left.Write(bytes, {});
    leaver.join();
}

}  // namespace zarnd_test
