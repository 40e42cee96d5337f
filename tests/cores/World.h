// Clients and a broker in one program, without sockets, threads or clocks: every byte moves when the test
// says so.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BrokerCore.h"
#include "ClientCore.h"
#include "wire/FrameReader.h"

namespace orvane::plexa::test {

using broker::BrokerCore;
using broker::ConnectionId;
using message5::ClientCore;
using message5::FailureKind;
using message5::FailureReason;
using message5::SendFailure;

class World;
class Inspector;

/// One process with one client.
class Node {
  public:
    Node(World& inWorld, std::string inName, bool inReceives, wire::Interest inInterest);

    const std::string& Name() const { return mName; }
    ClientCore& Core() { return *mCore; }
    bool Connected() const { return mConnection != 0; }
    /// Bytes on their way from the broker.
    std::size_t Waiting() const { return mToClient.size(); }

    /// Sends a text of the given type; refused ones become failures, as a driver does it. Returns the
    /// verdict.
    message5::Admission::Verdict Send(const std::string& inText, Node* inReceiver = nullptr,
                                      const std::string& inType = "type");
    message5::Admission::Verdict SendTo(std::optional<wire::MemberId> inReceiver, const std::string& inText,
                                        const std::string& inType);

    // Single steps. Each answers whether anything happened.
    bool Connect();
    bool Write(std::size_t inMost = SIZE_MAX);
    bool Read(std::size_t inMost = SIZE_MAX);
    bool Deliver();
    /// The two halves of Deliver: the listener is called, and returns.
    bool BeginDelivery();
    bool EndDelivery();

    /// "sender:text" of every delivered message, in order.
    std::vector<std::string> received;
    std::vector<SendFailure> failures;
    /// How many of the delivered ones were broadcasts written to this client alone.
    std::size_t copies = 0;
    /// Deliver does nothing while this is set: a listener that does not return, or a stopped process.
    bool stopped = false;
    /// Connect does nothing while this is set.
    bool offline = false;
    bool alive = true;

    /// "Not delivered|receiver|reason" of each failure.
    std::vector<std::string> FailureTexts() const;

  private:
    friend class World;
    friend class Inspector;
    void Lost();
    void Collect();

    World& mWorld;
    std::string mName;
    broker::ProcessIdentity mProcess;
    wire::BufferPool mPool;
    wire::BufferPool mReadPool;
    std::unique_ptr<ClientCore> mCore;
    std::optional<message5::Delivery> mInHand;
    ConnectionId mConnection = 0;
    std::string mToBroker;
    std::string mToClient;
    bool mClosedByBroker = false;
    wire::FrameReader mReader;
};

class World {
  public:
    /// inBlock: bytes of the blocks that messages are kept in and read into.
    explicit World(const wire::Limits& inLimits = {}, std::size_t inBlock = 4096);
    ~World();

    /// A new process, not connected yet.
    Node& Add(const std::string& inName, bool inReceives = true, wire::Interest inInterest = {});
    /// Adds and runs until the client is a member.
    Node& Join(const std::string& inName, bool inReceives = true, wire::Interest inInterest = {});

    /// Moves everything until nothing moves any more, at the present time.
    void Run();
    /// Time passes; what is due happens, but no byte moves.
    void Elapse(wire::Duration inTime);
    /// Elapse, then Run.
    void Pass(wire::Duration inTime);
    /// Only one client's bytes: what it writes reaches the broker, and nothing else moves.
    void Hand(Node& ioNode);
    /// Only between one client and the broker, both ways, without delivering.
    void Exchange(Node& ioNode);

    // Steps of the broker. Each answers whether anything happened.
    bool BrokerRead(Node& ioNode, std::size_t inMost = SIZE_MAX);
    bool BrokerWrite(Node& ioNode, std::size_t inMost = SIZE_MAX);
    void BrokerSettle();

    /// Its bytes still under way to clients are read by them, or lost.
    void KillBroker(bool inRestIsRead = false);
    void StartBroker();
    bool HasBroker() const { return mBroker != nullptr; }
    BrokerCore& Broker() { return *mBroker; }
    /// The connection breaks: bytes under way are gone, both sides notice.
    void Break(Node& ioNode);
    /// As Break, but one side only notices; the other goes on with what it has. At the broker it is the
    /// oldest connection of the node that ends.
    void BreakAtClient(Node& ioNode);
    void BreakAtBroker(Node& ioNode);
    /// The process ends: the broker still reads what was written, then learns of the end.
    void Kill(Node& ioNode);

    std::vector<std::unique_ptr<Node>>& Nodes() { return mNodes; }
    const std::map<wire::MemberId, broker::MemberRecord>& Records() const { return mRecords; }
    /// The reasons of connections that the broker closed, empty ones left out.
    std::vector<std::string> closed;
    /// What must not happen in any world. Those nobody has taken fail the test when the world ends.
    std::vector<std::string> troubles;

    wire::Limits limits;
    wire::TimePoint now{std::chrono::hours(1)};

  private:
    void NoteOverdue(std::optional<wire::TimePoint> inNext, std::string_view inWho);
    friend class Node;
    friend class Inspector;
    struct Line {
        Node* node = nullptr;
        std::unique_ptr<wire::FrameReader> reader;
    };
    bool Advance();

    std::size_t mBlock;
    wire::BufferPool mPool;
    std::unique_ptr<BrokerCore> mBroker;
    std::map<ConnectionId, Line> mLines;
    std::map<wire::MemberId, broker::MemberRecord> mRecords;
    std::vector<std::unique_ptr<Node>> mNodes;
    ConnectionId mNextConnection = 1;
    wire::MemberId mFirstMember = 1000;
    std::uint32_t mNextProcess = 100;
};

}  // namespace orvane::plexa::test
