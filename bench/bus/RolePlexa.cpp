// This bus in the measuring harness. Variants: "" sends and receives through nuoplexasupport, as hosts do;
// "message5" uses the message library alone.
#include <unistd.h>

#include <algorithm>
#include <boost/smart_ptr/make_shared.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "PlexaMessage5/PlexaMessage5.h"
#include "TextPayload.h"
#include "harness.hpp"
#include "nuocore/Config.h"
#include "nuoplexasupport/nuoplexasupport.h"

namespace {

namespace api = orvane::plexa::api5;
using nuoplexasupport::ImmutableString;
using nuoplexasupport::UTF8String;

constexpr const char* kData = "plexa.SuiteMessage.bench.data.of.run";
constexpr const char* kAsk = "plexa.SuiteMessage.bench.question.run";
constexpr const char* kAnswer = "plexa.SuiteMessage.bench.answer.runs";

[[noreturn]] void Die(const char* inText) {
    std::fprintf(stderr, "role_plexa: %s\n", inText);
    std::exit(3);
}

int RunBroker(const hb::Run& inRun) {
    ::execl(BROKER_PROGRAM, BROKER_PROGRAM, "--runtime-dir", inRun.dir.c_str(), nullptr);
    Die("the broker can't be executed");
}

// Takes messages on the delivery thread.
class Receiver : public api::IPlexaMessageListener, public nuoplexasupport::IPlexaClient {
  public:
    virtual void On(const char* inText, std::size_t inSize) = 0;

    void Receive(const api::PlexaMessage& inMessage) override {
        if (const auto* message = dynamic_cast<const api::SuiteMessage*>(&inMessage)) {
            mSource = message->GetSource();
            mBuffer.resize(message->GetPayloadSize());
            message->GetPayload(mBuffer.data());
            On(mBuffer.data(), mBuffer.size() - 1);
        } else {
            std::fprintf(stderr, "role_plexa: an error message arrived\n");
        }
    }
    void ReceiveRawSubscribedMessage(const ImmutableString& /*inType*/, const UTF8String& inText,
                                     const char* /*inSender*/) override {
        On(inText.data(), inText.size());
    }

  protected:
    api::EndPoint mSource;  // of the message at hand

  private:
    std::string mBuffer;
};

// One process on the bus.
class Bus {
  public:
    Bus(const hb::Run& inRun, const std::string& inCode) : mDirect(inRun.variant == "message5") {
        ::setenv("PLEXA_RUNTIME_DIR", inRun.dir.c_str(), 1);
        if (!mDirect) {
            InstallBroker(inRun.dir + "/host" + std::to_string(::getpid()));
            nuocore::config::SetProductConfig({UTF8String(inCode), "1.0", "", false});
            nuoplexasupport::Startup();
        }
        api::IPlexaMessageDispatcher::SetConfig(inCode.c_str(), "1.0");
        if (api::IPlexaMessageDispatcher::GetInstance(&mDispatcher) > 1) {
            Die("no dispatcher");
        }
        if (mDirect) {
            mDispatcher->AddListener(&mDeaf);
            mDispatcher->EnableListener(&mDeaf);  // the first enabled listener takes a process onto the bus
        }
    }

    void Listen(const boost::shared_ptr<Receiver>& inReceiver, const char* inType) {
        if (mDirect) {
            mDispatcher->AddListener(inReceiver.get());
            mDispatcher->EnableListener(inReceiver.get());
        } else {
            nuoplexasupport::SubscribeToMessage(inReceiver, ImmutableString(inType));
        }
    }

    // Waits until so many end points have this app id, and remembers one of them.
    void Await(const std::string& inAppId, int inCount) {
        for (int patience = 0; patience < 10000; ++patience) {
            api::EndPoint* list = nullptr;
            std::size_t count = 0;
            mDispatcher->GetEndPointList(&list, &count);
            int seen = 0;
            for (std::size_t i = 0; i < count; ++i) {
                std::string appId(list[i].GetAppIdSize(), '\0');
                list[i].GetAppId(appId.data());
                if (appId.c_str() == inAppId) {
                    mPeer = list[i];
                    ++seen;
                }
            }
            if (list != nullptr) {
                mDispatcher->ReleaseEndPointList(list);
            }
            if (seen >= inCount && mDispatcher->IsDispatcherReady()) {
                return;
            }
            ::usleep(1000);
        }
        Die("the other side doesn't come");
    }

    void Reply(const std::string& inType, const std::string& inText, const api::EndPoint& inAsker,
               const char* inTarget) {
        if (mDirect) {
            mPeer = inAsker;
        }
        Send(inType, inText, inTarget);
    }

    void Send(const std::string& inType, const std::string& inText, const char* inTarget) {
        if (mDirect) {
            api::SuiteMessage message(inType.c_str());
            message.SetPayload(inText.c_str());
            if (*inTarget != '\0') {
                message.SetDestination(mPeer);
            }
            if (mDispatcher->SendMessage(message) > 1) {
                Die("a message was refused");
            }
        } else if (!nuoplexasupport::SendPlexaMessage(ImmutableString(inType), UTF8String(inText),
                                                      inTarget)) {
            Die("a message was refused");
        }
    }

  private:
    // Hears nothing that matters.
    class DeafListener final : public api::IPlexaMessageListener {
      public:
        void Receive(const api::PlexaMessage& /*inMessage*/) override {}
    };

    // Hosts look for the broker's file where it is installed.
    static void InstallBroker(const std::string& inBase) {
        const std::filesystem::path folder =
            std::filesystem::path(inBase) / "Orvane" / "Orvane Desktop Common" / "IPCBox";
        std::filesystem::create_directories(folder);
        std::filesystem::create_symlink(BROKER_PROGRAM, folder / "OrvaneIPCBroker.exe");
        ::setenv("CommonProgramFiles", inBase.c_str(), 1);
    }

    const bool mDirect;
    DeafListener mDeaf;
    api::IPlexaMessageDispatcher* mDispatcher = nullptr;
    api::EndPoint mPeer;
};

// Counts what arrives.
class SinkReceiver final : public Receiver {
  public:
    explicit SinkReceiver(hb::Sink& ioSink) : mSink(ioSink) {}
    void On(const char* inText, std::size_t inSize) override {
        if (bench::DecodeMessage(inText, inSize, mMessage)) {
            mSink.on(mMessage.data(), mMessage.size());
        }
    }

  private:
    hb::Sink& mSink;
    std::vector<unsigned char> mMessage;
};

// Sends back what arrives, inside the delivery.
class EchoReceiver final : public Receiver {
  public:
    explicit EchoReceiver(Bus& ioBus) : mBus(ioBus) {}
    void On(const char* inText, std::size_t inSize) override {
        mBus.Reply(kAnswer, std::string(inText, inSize), mSource, "BENCHASK-1.0");
    }

  private:
    Bus& mBus;
};

// Hands an answer to the thread that asked.
class AnswerReceiver final : public Receiver {
  public:
    void On(const char* inText, std::size_t inSize) override {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            bench::DecodeMessage(inText, inSize, mAnswer);
            mHasAnswer = true;
        }
        mArrived.notify_one();
    }
    const std::vector<unsigned char>& Wait() {
        std::unique_lock<std::mutex> lock(mMutex);
        if (!mArrived.wait_for(lock, std::chrono::seconds(5), [&] { return mHasAnswer; })) {
            Die("no answer");
        }
        mHasAnswer = false;
        return mAnswer;
    }

  private:
    std::mutex mMutex;
    std::condition_variable mArrived;
    bool mHasAnswer = false;
    std::vector<unsigned char> mAnswer;
};

class PlexaClient final : public hb::Client {
  public:
    explicit PlexaClient(const hb::Run& inRun) : hb::Client(inRun) {}

    bool needs_window() const override { return false; }  // sends wait while receivers are behind

    void open_sender() override {
        mBus.emplace(run_, "BENCHTX");
        mBus->Await("BENCHRX-1.0", run_.receivers);
        mTarget = run_.receivers == 1 ? "BENCHRX-1.0" : "";
    }
    void send(const void* inData, std::size_t inSize) override {
        bench::EncodeMessage(inData, inSize, mText);
        mBus->Send(kData, mText, mTarget);
    }

    void open_receiver(hb::Sink& ioSink) override {
        mBus.emplace(run_, "BENCHRX");
        Listen(boost::make_shared<SinkReceiver>(ioSink), kData);
        mBus->Await("BENCHRX-1.0", 1);
    }
    void receive(hb::Sink& ioSink) override {
        while (!ioSink.done()) {
            ioSink.wait(100);
            if (ioSink.hopeless()) {
                return;
            }
        }
    }

    void open_requester() override {
        mBus.emplace(run_, "BENCHASK");
        mAnswers = boost::make_shared<AnswerReceiver>();
        Listen(mAnswers, kAnswer);
        mBus->Await("BENCHECHO-1.0", 1);
    }
    std::size_t request(const void* inData, std::size_t inSize, void* outReply,
                        std::size_t inCapacity) override {
        bench::EncodeMessage(inData, inSize, mText);
        mBus->Send(kAsk, mText, "BENCHECHO-1.0");
        const std::vector<unsigned char>& answer = mAnswers->Wait();
        std::memcpy(outReply, answer.data(), std::min(answer.size(), inCapacity));
        return answer.size();
    }

    void open_responder() override {
        mBus.emplace(run_, "BENCHECHO");
        Listen(boost::make_shared<EchoReceiver>(*mBus), kAsk);
        mBus->Await("BENCHECHO-1.0", 1);
    }
    void serve() override {
        while (!stopped()) {
            ::usleep(20000);
        }
    }

  private:
    void Listen(boost::shared_ptr<Receiver> inReceiver, const char* inType) {
        mBus->Listen(inReceiver, inType);
        mReceiver = std::move(inReceiver);
    }

    std::optional<Bus> mBus;
    boost::shared_ptr<Receiver> mReceiver;
    boost::shared_ptr<AnswerReceiver> mAnswers;
    const char* mTarget = "";
    std::string mText;
};

std::unique_ptr<hb::Client> MakeClient(const hb::Run& inRun) { return std::make_unique<PlexaClient>(inRun); }

}  // namespace

int main(int argc, char** argv) { return hb::role_main(argc, argv, MakeClient, RunBroker); }
