/// A process on the bus, remote-controlled (PeerProgram.cpp lists commands and events).
#pragma once

#include <deque>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

class Peer {
  public:
    Peer();
    /// Kills the process if it still runs.
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void Tell(const std::string& inCommand);
    /// Tells one of the commands that set something, and waits until it is set.
    void Set(const std::string& inCommand);
    /// Waits for the next event with this beginning, later events stay, earlier ones are dropped. The whole
    /// line; empty with a test failure when it doesn't come.
    std::string Await(std::string_view inBeginning);
    /// Whether such an event has come by now, judged after another command has been answered.
    bool HasCome(std::string_view inBeginning);
    /// Starts it as inApp and waits until it is ready.
    void Join(const std::string& inApp);
    /// Waits until the process sees exactly so many end points.
    void AwaitEndPoints(std::size_t inCount);
    /// The last of the tallies of messages of a counted type, once it has inCount from inSender.
    std::string AwaitCount(const std::string& inSender, long inCount);

    pid_t Process() const { return mProcess; }
    void Kill();
    /// The exit code, 128 + n when signal n ended it; none when it doesn't end in time.
    std::optional<int> AwaitExit();

  private:
    std::optional<std::string> NextLine();

    pid_t mProcess = -1;
    int mInput = -1;
    int mOutput = -1;
    std::string mRead;
    std::deque<std::string> mLines;
};

/// They join as "A-1", "B-1" and so on; the first sees all of them then.
void JoinAll(std::initializer_list<Peer*> inPeers);
