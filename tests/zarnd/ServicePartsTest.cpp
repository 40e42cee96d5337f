// The service without a bus: what comes at its end, and what its threads and files do to it.
#include <gmock/gmock.h>

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <future>
#include <mutex>
#include <thread>

#include "bus/MessageTypes.h"
#include "bus/Outbox.h"
#include "install/FileList.h"
#include "service/Service.h"
#include "support/Archives.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
namespace fs = std::filesystem;

namespace {

const Asker kAnna{"ANNA-1", 1, 11};
const Asker kBert{"BERT-1", 2, 22};

/// Opens once; whoever passes waits for that.
class Door {
  public:
    void Open() {
        const std::lock_guard lock(mMutex);
        mIsOpen = true;
        mChanged.notify_all();
    }
    void Pass() {
        std::unique_lock lock(mMutex);
        ++mComers;
        mChanged.notify_all();
        mChanged.wait(lock, [this] { return mIsOpen; });
    }
    void AwaitComer() {
        std::unique_lock lock(mMutex);
        ASSERT_TRUE(mChanged.wait_for(lock, support::kPatience, [this] { return mComers > 0; }));
    }

  private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsOpen = false;
    int mComers = 0;
};

/// Keeps what is sent.
class Port final : public IPort {
  public:
    void Send(const Asker& inTo, const std::string& inType, const std::string& inPayload) override {
        const std::lock_guard lock(mMutex);
        mSent.push_back({inTo, inType, inPayload});
        mChanged.notify_all();
    }
    /// Waits until an asker has been sent something with this text.
    void Await(const Asker& inTo, const std::string& inText) {
        std::unique_lock lock(mMutex);
        ASSERT_TRUE(mChanged.wait_for(lock, support::kPatience, [&] {
            return std::any_of(mSent.begin(), mSent.end(), [&](const Message& inMessage) {
                return inMessage.mFrom == inTo && inMessage.mPayload.find(inText) != std::string::npos;
            });
        })) << inText;
    }
    /// All that an asker was sent, each cut to what matters.
    std::vector<std::string> To(const Asker& inTo) {
        const std::lock_guard lock(mMutex);
        std::vector<std::string> texts;
        for (const Message& message : mSent) {
            if (message.mFrom == inTo) texts.push_back(ShortOf(message.mPayload));
        }
        return texts;
    }

  private:
    static std::string ShortOf(const std::string& inPayload) {
        const auto between = [&](const std::string& inBegin, char inEnd) {
            const std::size_t place = inPayload.find(inBegin);
            if (place == std::string::npos) return std::string();
            const std::size_t begin = place + inBegin.size();
            return inPayload.substr(begin, inPayload.find(inEnd, begin) - begin);
        };
        if (inPayload.starts_with('{')) {
            return between("\"result\":\"", '"') + " " + between("\"error-code\":\"", '"');
        }
        return between("<event-type>", '<') + " " + between("<progress-value>", '<') +
               between("<error-code>", '<');
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<Message> mSent;
};

class ServiceParts : public testing::Test {
  protected:
    ServiceParts() {
        Offer(R"("A":)" + Module("a") + R"(,"B":)" + Module("b"));
        ServiceSettings settings;
        settings.mCatalogues = {mScratch.Path() / "catalogues"};
        settings.mModules = mScratch.Path() / "modules";
        settings.mObservers = mScratch.Path() / "observers.json";
        // Work waits here, because the modules have conflicts.
        settings.mConflicts = [this](const std::vector<std::string>&) {
            mDoor.Pass();
            return std::vector<std::string>();
        };
        mService.emplace(std::move(settings), mPort, mInputs);
    }
    ~ServiceParts() override {
        mDoor.Open();
        if (mThread.joinable()) End();
    }

    void Start() {
        mThread = std::thread([this] { mService->Run(); });
    }
    void End() {
        mInputs.Put(EndAsked{});
        mThread.join();
    }
    void Offer(const std::string& inModules) const {
        Write(mScratch.Path() / "catalogues/QRTX.json",
              R"({"schema":1,"product":"QRTX","modules":{)" + inModules + "}}");
    }
    [[nodiscard]] std::string Module(const std::string& inName) const {
        const std::string archive = MakeArchive({{Entry::Kind::kFile, inName, "words"}});
        const fs::path path = mScratch.Path() / (inName + ".tar");
        Write(path, archive);
        return R"({"version":"1","fits":["*"],"archive":"file://)" + path.string() + R"(","sha256":")" +
               DigestOf(archive) + R"(","size":)" + std::to_string(archive.size()) +
               R"(,"conflicts":["editor"]})";
    }
    [[nodiscard]] static Message Install(const Asker& inAsker, const std::string& inModule) {
        return {inAsker, kInstallType,
                R"({"product-sapcode":"QRTX","product-vardo-version":"1","modules":{"module-id":")" +
                    inModule + "\"}}"};
    }
    [[nodiscard]] static Message Ask(const Asker& inAsker, const char* inType) {
        return {inAsker, inType, R"({"request-id":"7"})"};
    }

    ScratchFolder mScratch;
    Door mDoor;
    Port mPort;
    Inputs mInputs;
    std::optional<Service> mService;
    std::thread mThread;
};

}  // namespace

TEST_F(ServiceParts, RefusesWhatComesWhileItEndsAndAfterwards) {
    Start();
    mService->Take(Install(kAnna, "A"));
    mDoor.AwaitComer();
    mInputs.Put(EndAsked{});
    mService->Take(Install(kBert, "A"));
    mService->Take(Ask(kBert, kListType));
    mThread.join();  // though the work still stands
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("progress 0", "error 361"));
    EXPECT_THAT(mPort.To(kBert), ElementsAre("error 361", "error 361"));
    const Asker late{"LATE-1", 3, 33};
    mService->Take(Install(late, "A"));
    mService->Take(Ask(late, kCancelType));
    EXPECT_THAT(mPort.To(late), ElementsAre("error 361", "error 361"));
}

TEST_F(ServiceParts, KeepsAnObserverThatComesAtTheVeryEnd) {
    Start();
    End();
    mService->Take({kAnna, kObserverType,
                    "<NEMessage action=\"RegisterObserver\"><type>mail</type><sub-type>new</sub-type>"
                    "<observer-namespace>x.y</observer-namespace></NEMessage>"});
    EXPECT_THAT(Read(mScratch.Path() / "observers.json"), HasSubstr("\"x.y\""));
}

TEST_F(ServiceParts, StopsALongCheckWhenItEnds) {
    constexpr std::uintmax_t kHours = std::uintmax_t{1} << 43U;  // to read it
    const ModuleStore store(mScratch.Path() / "modules");
    StagedModule staged = store.Stage("QRTX", "A");
    Write(staged.Files() / "large", "");
    fs::resize_file(staged.Files() / "large", kHours);
    FileListWriter list(staged.List());
    list.Add({"large", kHours, DigestOf("other"), false, {}});
    ModuleStore::Complete(staged, {"QRTX", "A", "1", DigestOf(""), {}, {}, list.Finish()});
    store.Switch(std::move(staged), "QRTX", "A");
    Start();
    mService->Take(Ask(kAnna, kCheckType));
    mService->Take(Ask(kBert, kListType));  // waits behind it
    const auto isOpen = [&] {
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (fs::read_symlink(entry.path(), gone).filename() == "large") return true;
        }
        return false;
    };
    const auto until = std::chrono::steady_clock::now() + support::kPatience;
    while (!isOpen()) {
        ASSERT_LT(std::chrono::steady_clock::now(), until);
        ASSERT_THAT(mPort.To(kAnna), IsEmpty()) << "it is not so long a check";
    }
    End();
    EXPECT_THAT(mPort.To(kAnna), ElementsAre("error 361"));
    EXPECT_THAT(mPort.To(kBert), ElementsAre("error 361"));
}

TEST_F(ServiceParts, LetsARepeatedRequestNotEndTheFirstOne) {
    Start();
    mService->Take(Install(kAnna, "A"));
    mDoor.AwaitComer();
    Offer("");
    mService->Take(Install(kAnna, "A"));
    mService->Take(Install(kBert, "A"));
    mPort.Await(kBert, "<error-code>203<");
    mDoor.Open();
    mPort.Await(kAnna, "completed");
    EXPECT_THAT(mPort.To(kAnna), Not(testing::Contains(HasSubstr("error"))));
}

TEST_F(ServiceParts, RefusesAModuleWhenThereIsNoThreadForItAndServesTheNextOne) {
    mDoor.Open();
    pthread_attr_t usual;
    ASSERT_EQ(::pthread_getattr_default_np(&usual), 0);
    pthread_attr_t huge = usual;
    ::pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
    Start();
    mService->Take(Ask(kBert, kListType));
    mPort.Await(kBert, "\"done\"");  // all other threads are there
    ASSERT_EQ(::pthread_setattr_default_np(&huge), 0);
    mService->Take(Install(kAnna, "A"));
    mPort.Await(kAnna, "<error-code>362<");
    ASSERT_EQ(::pthread_setattr_default_np(&usual), 0);
    mService->Take(Install(kAnna, "A"));
    mPort.Await(kAnna, "completed");
}

TEST_F(ServiceParts, EchoesAnIdAsItCame) {
    Start();
    mService->Take(Install(kAnna, "one\\ttwo\\nthree"));
    mPort.Await(kAnna, "<module-id>one&#9;two&#10;three</module-id>");
    const std::string longOne(10'000, 'x');
    mService->Take(Install(kBert, longOne));
    mPort.Await(kBert, "<module-id>" + longOne + "</module-id>");
    EXPECT_THAT(mPort.To(kBert), ElementsAre("error 203"));
}

TEST(Sending, HoldsNobodyUpButWhoComesAfterMany) {
    /// Lets nothing through while it is closed.
    class Slow final : public IPort {
      public:
        void Send(const Asker&, const std::string&, const std::string& inPayload) override {
            mDoor.Pass();
            const std::lock_guard lock(mMutex);
            mSent.push_back(inPayload);
        }
        Door mDoor;
        std::mutex mMutex;
        std::vector<std::string> mSent;
    };
    Slow slow;
    Outbox outbox(slow);
    for (const char* const text : {"1", "2", "3"}) outbox.Send(kAnna, "type", text);
    EXPECT_THAT(slow.mSent, IsEmpty());
    slow.mDoor.Open();
    outbox.Finish();
    EXPECT_THAT(slow.mSent, ElementsAre("1", "2", "3"));
    outbox.Send(kAnna, "type", "late");
    EXPECT_EQ(slow.mSent.back(), "late");
}

}  // namespace zarnd_test
