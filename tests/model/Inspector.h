// The insides of a simulated world: what is on the way, and which connection is whose.
#pragma once

#include <optional>

#include "World.h"

namespace orvane::plexa::test {

class Inspector {
  public:
    static std::string& ToBroker(Node& ioNode) { return ioNode.mToBroker; }
    static std::string& ToClient(Node& ioNode) { return ioNode.mToClient; }
    static bool ClosedByBroker(const Node& inNode) { return inNode.mClosedByBroker; }
    static const std::optional<message5::Delivery>& InHand(const Node& inNode) { return inNode.mInHand; }
    static ConnectionId Connection(const Node& inNode) { return inNode.mConnection; }
    /// Connections that the broker has, oldest first.
    template <typename Call>
    static void ForEachLine(World& ioWorld, const Call& inCall) {
        for (auto& [connection, line] : ioWorld.mLines) {
            inCall(connection, *line.node);
        }
    }
    /// Connections of that client that the broker still has though the client has given them up.
    static bool HasStaleLine(World& ioWorld, const Node& inNode) {
        bool stale = false;
        ForEachLine(ioWorld, [&](ConnectionId inConnection, const Node& inOther) {
            stale |= &inOther == &inNode && inConnection != inNode.mConnection;
        });
        return stale;
    }
    static bool HasLine(World& ioWorld, const Node& inNode) {
        return ioWorld.mLines.contains(inNode.mConnection);
    }
};

/// The header of the frame at inAt in a pipe that holds whole frames.
inline const wire::FrameHeader& HeaderAt(const std::string& inPipe, std::size_t inAt) {
    return *reinterpret_cast<const wire::FrameHeader*>(inPipe.data() + inAt);
}

/// How many messages stand at the front of a pipe before anything else.
inline std::size_t LeadingMessages(const std::string& inPipe) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < inPipe.size() && HeaderAt(inPipe, at).kind() == wire::FrameKind::Data;
         at += HeaderAt(inPipe, at).length()) {
        ++count;
    }
    return count;
}

}  // namespace orvane::plexa::test
