/// The service without a bus.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bus/MessageTypes.h"
#include "service/Service.h"
#include "support/Archives.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;

inline const Asker kAnna{"ANNA-1", 1, 11};
inline const Asker kBert{"BERT-1", 2, 22};

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
    /// Throws once when something is to be sent to this one.
    std::optional<Asker> mFailsFor;

    void Send(const Asker& inTo, const std::string& inType, const std::string& inPayload) override {
        const std::lock_guard lock(mMutex);
        if (mFailsFor == inTo) {
            mFailsFor.reset();
            throw std::runtime_error("not to be sent");
        }
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
        mSettings.mCatalogues = {mScratch.Path() / "catalogues"};
        mSettings.mModules = mScratch.Path() / "modules";
        mSettings.mObservers = mScratch.Path() / "observers.json";
        // Work waits here, because the modules have conflicts.
        mSettings.mConflicts = [this](const std::vector<std::string>&) {
            mDoor.Pass();
            return std::vector<std::string>();
        };
    }
    ~ServiceParts() override {
        mDoor.Open();
        if (mThread.joinable()) End();
    }

    /// The service, made at its first use.
    Service& TheService() {
        if (!mService) mService.emplace(mSettings, *mWayOut, mInputs);
        return *mService;
    }
    void Take(Message inMessage) { TheService().Take(std::move(inMessage)); }
    void Start() {
        mThread = std::thread([&service = TheService()] { service.Run(); });
    }
    void End() {
        mInputs.Put(EndAsked{});
        mThread.join();
    }
    void Offer(const std::string& inModules) const {
        Write(mScratch.Path() / "catalogues/QRTX.json",
              R"({"schema":1,"product":"QRTX","modules":{)" + inModules + "}}");
    }
    [[nodiscard]] std::string Module(const std::string& inName, const std::string& inAddress = {}) const {
        const std::string archive = MakeArchive({{Entry::Kind::kFile, inName, "words"}});
        const std::filesystem::path path = mScratch.Path() / (inName + ".tar");
        Write(path, archive);
        return R"({"version":"1","fits":["*"],"archive":")" +
               (inAddress.empty() ? "file://" + path.string() : inAddress) + R"(","sha256":")" +
               DigestOf(archive) + R"(","size":)" + std::to_string(archive.size()) +
               R"(,"conflicts":["editor"]})";
    }
    [[nodiscard]] static Message Install(const Asker& inAsker, const std::string& inModule,
                                         const std::string& inVersion = "1") {
        return {inAsker, kInstallType,
                R"({"product-sapcode":"QRTX","product-vardo-version":")" + inVersion +
                    R"(","modules":{"module-id":")" + inModule + "\"}}"};
    }
    [[nodiscard]] static Message Ask(const Asker& inAsker, const char* inType) {
        return {inAsker, inType, R"({"request-id":"7"})"};
    }

    ScratchFolder mScratch;
    Door mDoor;
    Port mPort;
    IPort* mWayOut = &mPort;  ///< of what the service says
    ServiceSettings mSettings;
    Inputs mInputs;
    std::optional<Service> mService;
    std::thread mThread;
};

}  // namespace zarnd_test
