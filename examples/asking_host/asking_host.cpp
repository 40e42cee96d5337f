// A small host that asks and subscribes: how many words does a text have?
//
//   asking_host to be or not to be

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <iostream>
#include <mutex>
#include <string>

#include <nuocore/Config.h>
#include <nuoplexasupport/nuoplexasupport.h>
#include <boost/smart_ptr/make_shared.hpp>

using namespace nuoplexasupport;
using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::ExtractTextFromObject;
using nuocore::serialization::MakeValue;

namespace {

// Called on the delivery thread; the main thread waits for what it tells.
class Asker final : public IPlexaClient {
  public:
    void ReceiveResponse(const ImmutableString& /*inMessageType*/, const Guid& /*inRequestId*/,
                         const VariantObject& inPayload, const UTF8String& /*inErrorText*/) override {
        std::cout << "answer: " << ExtractPropertyFromObject<std::int64_t>(inPayload, "words") << " words"
                  << std::endl;
        Tell(mIsAnswered);
    }

    void ReceiveSubscribedMessage(const ImmutableString& inMessageType,
                                  const VariantObject& inPayload) override {
        std::cout << "news: " << inMessageType.View() << " says " << ExtractTextFromObject(inPayload, "words")
                  << " words" << std::endl;
        Tell(mHasNews);
    }

    // Waits for the answer and for one message of the subscribed type.
    bool Wait(std::chrono::seconds inLimit) {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, inLimit, [this] { return mIsAnswered && mHasNews; });
    }

  private:
    void Tell(bool& outFlag) {
        const std::lock_guard lock(mMutex);
        outFlag = true;
        mChanged.notify_all();
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsAnswered = false;
    bool mHasNews = false;
};

}  // namespace

int main(int argc, char** argv) {
    std::string text;
    for (int i = 1; i < argc; ++i) text += std::string(i > 1 ? " " : "") + argv[i];

    nuocore::config::SetProductConfig({"CURIOUS", "1.0", {}});
    Startup();  // held for the life of the process

    bool isDone = false;
    {
        const auto asker = boost::make_shared<Asker>();
        const ImmutableString news("org.example.words.counted");
        SubscribeToMessage(asker, news);

        // Sent as soon as the connection is ready; the answer comes to the asker, and to nobody else.
        VariantObject question;
        question["text"] = MakeValue(UTF8String(std::string_view(text)));
        SendClientRequest(asker, ImmutableString("org.example.words.question"),
                          ImmutableString("org.example.words.answer"), Guid(), question,
                          kPlexaSerializationFlavor_JSON, kPlexaRequestIDKeyType_RequestId, "");
        isDone = asker->Wait(std::chrono::seconds(10));

        UnsubscribeFromMessage(asker, news);
    }
    Shutdown();
    if (!isDone) std::cerr << "no answer in time: does answering_host run?" << std::endl;
    return isDone ? 0 : 1;
}
