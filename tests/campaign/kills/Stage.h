/// The bus, the broker and the processes of one run.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Board.h"
#include "support/BrokerControl.h"
#include "support/ChildProcess.h"
#include "support/PrivateBus.h"
#include "support/SharedBoard.h"

namespace campaign::kills {

/// Every wait ends early with a `std::runtime_error`, which tells why, when something is wrong on the board,
/// a process has ended that shouldn't have, or the time of the whole run is over.
class Stage {
  public:
    /// Starts the members and waits until all know each other.
    Stage(std::size_t inMembers, std::uint64_t inSeed, std::chrono::seconds inLimit);
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    [[nodiscard]] Board& TheBoard() noexcept { return *mBoard; }
    [[nodiscard]] std::size_t Members() const noexcept { return mMembers.size(); }
    /// How many places of the board are taken.
    [[nodiscard]] std::size_t Places() const noexcept { return mPlaces; }

    void Pause(std::chrono::microseconds inTime);
    /// Waits for something. inMissing: what is missing to it, empty when it is there; told when it doesn't
    /// come within inLimit.
    void Await(const std::string& inWhat, const std::function<std::string()>& inMissing,
               std::chrono::seconds inLimit = kPatience);
    /// The broker that listens, once one does that isn't inNot.
    pid_t AwaitBroker(pid_t inNot = 0);

    void Signal(std::size_t inMember, int inSignal) const { mMembers[inMember]->Signal(inSignal); }
    /// Stops a member, and waits until it stands still.
    void Stop(std::size_t inMember);
    /// Starts a guest; returns its place.
    std::size_t Invite();
    void AwaitGuestsGone();
    /// Tells the members to leave and waits until all have, and the broker has.
    void Close();

    /// Puts a copy of the broker's program in its place; returns its file.
    std::filesystem::path ExchangeProgram();
    [[nodiscard]] BrokerControl& Broker() noexcept { return mBroker; }
    /// Copies the broker's log to where it outlives this object; returns the place.
    std::string SaveLog() const;

    static constexpr std::chrono::seconds kPatience{30};

  private:
    using Process = std::unique_ptr<support::ChildProcess>;

    Process Start(const char* inRole, std::size_t inPlace);
    void CheckMembers();
    void CheckGuests();
    void UseProgram(const std::filesystem::path& inFile);

    const std::uint64_t mSeed;
    const std::chrono::steady_clock::time_point mEnd;
    support::PrivateBus mBus;
    const std::filesystem::path mFolder;
    BrokerControl mBroker;
    SharedBoard<Board> mBoard;
    std::vector<Process> mMembers;
    std::vector<Process> mGuests;
    std::size_t mPlaces = 0;
    int mProgram = 0;
};

}  // namespace campaign::kills
