// A broker that answers with anything.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <random>
#include <string>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "Bus.h"
#include "Eventually.h"
#include "Member.h"
#include "Peer.h"
#include "wire/FileDescriptor.h"
#include "wire/Messages.h"

using namespace orvane::plexa::api5;
namespace wire = orvane::plexa::wire;

namespace {

/// Listens where the broker would until it is destroyed, and answers one connection after another.
class FakeBroker {
  public:
    FakeBroker(const std::string& inDirectory, std::function<std::string()> inAnswer)
        : mPath(inDirectory + "/broker.sock"),
          mListener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
          mAnswer(std::move(inAnswer)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        mPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(::bind(mListener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        EXPECT_EQ(::listen(mListener.Get(), 8), 0);
        mThread = std::thread([this] { Run(); });
    }
    ~FakeBroker() {
        ::unlink(mPath.c_str());
        mEnding = true;
        ::shutdown(mListener.Get(), SHUT_RDWR);
        mThread.join();
    }
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;

    int Answered() const { return mAnswered; }

  private:
    void Run() {
        while (!mEnding) {
            const wire::FileDescriptor connection(::accept4(mListener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (!connection) continue;
            const std::string answer = mAnswer();
            ::send(connection.Get(), answer.data(), answer.size(), MSG_NOSIGNAL);
            ::shutdown(connection.Get(), SHUT_WR);
            std::array<char, 4096> bytes{};
            while (::recv(connection.Get(), bytes.data(), bytes.size(), 0) > 0) {
            }
            ++mAnswered;
        }
    }

    std::string mPath;
    wire::FileDescriptor mListener;
    std::function<std::string()> mAnswer;
    std::atomic<bool> mEnding{false};
    std::atomic<int> mAnswered{0};
    std::thread mThread;
};

/// A greeting, then frames of every kind with values that fit and values that don't, then damage.
class Garbage {
  public:
    std::string Next() {
        wire::Write(mQueue, mPool, wire::Welcome{1, 0, 1U << 20U, 65536});
        AddPeers();
        wire::Write(mQueue, mPool, wire::Joined{Below(3) + 1000, 3, 1});
        for (std::uint32_t i = Below(30); i != 0; --i) AddFrame();
        std::string bytes;
        while (!mQueue.Empty()) {
            iovec piece{};
            mQueue.Gather({&piece, 1});
            bytes.append(static_cast<const char*>(piece.iov_base), piece.iov_len);
            mQueue.Consume(piece.iov_len);
        }
        for (std::uint32_t i = Below(3); i != 0; --i) {
            bytes[Below(static_cast<std::uint32_t>(bytes.size()))] = static_cast<char>(Below(256));
        }
        if (Below(4) == 0) bytes.resize(Below(static_cast<std::uint32_t>(bytes.size())));
        return bytes;
    }

  private:
    std::uint32_t Below(std::uint32_t inEnd) { return static_cast<std::uint32_t>(mRandom()) % inEnd; }

    void AddPeers() {
        for (std::uint32_t i = Below(4); i != 0; --i) AddPeer();
    }
    void AddPeer() {
        wire::PeerNotice peer;
        peer.member = Below(4) + 1;
        peer.change = static_cast<wire::PeerChange>(Below(4));
        peer.slot = peer.change == wire::PeerChange::Up ? Below(6) + 1 : wire::kNoSlot;
        peer.endPoint = {"Fake-" + std::to_string(Below(3)), Below(2), Below(2)};
        peer.receives = Below(2) == 0;
        peer.lane = static_cast<wire::LaneStart>(Below(2));
        peer.sendFrom = Number();
        peer.receiveFrom = Number();
        wire::Write(mQueue, mPool, peer);
    }
    wire::Sequence Number() {
        return Below(4) == 0 ? wire::kMaxSequence - Below(2) : Below(8) + wire::Sequence{1};
    }
    void AddFrame() {
        switch (Below(6)) {
            case 0:
                AddPeer();
                break;
            case 1:
                wire::WritePosition(mQueue, mPool, Below(6) + 1, 0, {Number() + 8, Below(8)});
                break;
            case 2: {
                const std::array<wire::ReportEntry, 2> entries{
                    wire::ReportEntry(Below(6) + 1, Below(3) * 1000, Number()),
                    wire::ReportEntry(Below(6) + 1, ~0U, Number())};
                wire::WriteReport(mQueue, mPool, Below(3), entries);
                break;
            }
            case 3:
                mQueue.AppendControl(mPool, static_cast<wire::FrameKind>(Below(256)), Below(5) * 8);
                break;
            default: {
                auto& header = *reinterpret_cast<wire::FrameHeader*>(
                    mQueue.AppendControl(mPool, wire::FrameKind::Data, Below(100)));
                header.mutate_source(Below(6) + 1);
                header.mutate_sequence(Number());
            }
        }
    }

    std::minstd_rand mRandom{42};
    wire::BufferPool mPool{65536};
    wire::OutputQueue mQueue;
};

}  // namespace

TEST(Garbage, OfABrokerEndsTheConnectionAndNothingElse) {
    constexpr int kConnections = 200;
    const Bus bus;
    Garbage garbage;
    IPlexaMessageDispatcher::SetConfig("Test", "1");
    Listener listener;
    IPlexaMessageDispatcher* dispatcher = nullptr;
    {
        const FakeBroker fake(bus.Directory(), [&] { return garbage.Next(); });
        dispatcher = Instance();
        dispatcher->AddListener(&listener);
        dispatcher->EnableListener(&listener);
        EXPECT_TRUE(Eventually(
            [&] {
                const SuiteMessage message("t");
                dispatcher->SendMessage(message);
                EndPoint* list = nullptr;
                std::size_t count = 0;
                dispatcher->GetEndPointList(&list, &count);
                dispatcher->ReleaseEndPointList(list);
                return fake.Answered() >= kConnections;
            },
            std::chrono::seconds(60)))
            << fake.Answered();
    }
    Peer other;
    other.Join("B-1");
    other.AwaitEndPoints(2);
    other.Tell("send Test-1 t sound again");
    EXPECT_TRUE(listener.Gets("sound again"));
    dispatcher->RemoveListener(&listener);
    IPlexaMessageDispatcher::ReleaseInstance();
}
