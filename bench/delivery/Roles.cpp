#include "Roles.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <vector>

#include <unistd.h>

#include "Broker.h"
#include "PlexaMessage5/PlexaMessage5.h"

namespace bench {

namespace api = orvane::plexa::api5;

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kReceiverApp = "RX-1.0";
constexpr useconds_t kPause = 50;
/// How often the sender looks how far it is ahead.
constexpr std::uint64_t kLook = 64;

class Counter final : public api::IPlexaMessageListener {
  public:
    Counter(std::atomic<std::uint64_t>& outMessages, std::atomic<std::uint64_t>& outErrors)
        : mMessages(outMessages), mErrors(outErrors) {}
    void Receive(const api::PlexaMessage& inMessage) override {
        if (dynamic_cast<const api::SuiteMessage*>(&inMessage) == nullptr) {
            ++mErrors;
        } else {
            mMessages.store(++mSeen, std::memory_order_relaxed);
        }
    }

  private:
    std::atomic<std::uint64_t>& mMessages;
    std::atomic<std::uint64_t>& mErrors;
    std::uint64_t mSeen = 0;
};

api::IPlexaMessageDispatcher& Join(const Task& inTask, const char* inCode,
                                   api::IPlexaMessageListener& inListener) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): first of all
    ::setenv("PLEXA_RUNTIME_DIR", inTask.mDirectory.c_str(), 1);
    api::IPlexaMessageDispatcher* dispatcher = nullptr;
    if (api::IPlexaMessageDispatcher::SetConfig(inCode, "1.0") > 1 ||
        api::IPlexaMessageDispatcher::GetInstance(&dispatcher) > 1) {
        throw std::runtime_error("no dispatcher");
    }
    dispatcher->AddListener(&inListener);
    dispatcher->EnableListener(&inListener);
    return *dispatcher;
}

/// Waits until so many receivers are there; gives one of them.
api::EndPoint AwaitReceivers(api::IPlexaMessageDispatcher& ioDispatcher, std::size_t inCount) {
    for (;;) {
        api::EndPoint* list = nullptr;
        std::size_t count = 0;
        std::vector<api::EndPoint> found;
        ioDispatcher.GetEndPointList(&list, &count);
        for (std::size_t i = 0; i != count; ++i) {
            std::vector<char> name(list[i].GetAppIdSize());
            list[i].GetAppId(name.data());
            if (std::string_view(name.data()) == kReceiverApp) found.push_back(list[i]);
        }
        if (list != nullptr) ioDispatcher.ReleaseEndPointList(list);
        if (found.size() == inCount && ioDispatcher.IsDispatcherReady()) return found.front();
        ::usleep(kPause);
    }
}

std::uint64_t Slowest(const Task& inTask, const Board& inBoard) {
    std::uint64_t least = UINT64_MAX;
    for (std::size_t i = 0; i != inTask.mReceivers; ++i)
        least = std::min(least, inBoard.mReceived[i].mMessages.load(std::memory_order_relaxed));
    return least;
}

}  // namespace

void RunBrokerRole(const Task& inTask, int inReady) {
    orvane::plexa::broker::Options options;
    options.runtimeDirectory = inTask.mDirectory;
    options.readyDescriptor = inReady;
    options.logLevel = spdlog::level::warn;
    orvane::plexa::broker::RunBroker(options);
}

void RunReceiver(const Task& inTask, Board& ioBoard, std::size_t inNumber) {
    Counter counter(ioBoard.mReceived[inNumber].mMessages, ioBoard.mErrors);
    Join(inTask, "RX", counter);
    for (;;) ::pause();
}

void RunSender(const Task& inTask, Board& ioBoard) {
    std::atomic<std::uint64_t> nothing = 0;
    Counter counter(nothing, ioBoard.mErrors);
    api::IPlexaMessageDispatcher& dispatcher = Join(inTask, "TX", counter);
    const api::EndPoint receiver = AwaitReceivers(dispatcher, inTask.mReceivers);
    // As long as a usual type name.
    api::SuiteMessage message("plexa.SuiteMessage.bench.measurement");
    message.SetPayload(std::string(inTask.mPayload, 'x').c_str());
    if (inTask.mReceivers == 1) message.SetDestination(receiver);
    const Clock::time_point begin = Clock::now();
    for (std::uint64_t sent = 0; sent != inTask.mMessages; ++sent) {
        while (sent % kLook == 0 && sent > Slowest(inTask, ioBoard) + inTask.mAhead) ::usleep(kPause);
        if (dispatcher.SendMessage(message) > 1) throw std::runtime_error("a message was refused");
    }
    while (Slowest(inTask, ioBoard) != inTask.mMessages) ::usleep(kPause);
    ioBoard.mNanoseconds = static_cast<std::uint64_t>(std::chrono::nanoseconds(Clock::now() - begin).count());
}

}  // namespace bench
