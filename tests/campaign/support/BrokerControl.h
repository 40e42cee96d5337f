/// The brokers of a private bus, under a campaign's control.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

#include "support/PrivateBus.h"

namespace campaign {

/// Makes this process the parent of every broker that its children start and leave behind, so that the end of
/// each is known for sure and none outlives the campaign. One at a time, in a process of one thread.
class BrokerControl {
  public:
    explicit BrokerControl(const support::PrivateBus& inBus);
    BrokerControl(const BrokerControl&) = delete;
    BrokerControl& operator=(const BrokerControl&) = delete;
    /// Ends all of them.
    ~BrokerControl();

    /// The broker that listens now; 0 when none does.
    [[nodiscard]] pid_t Current() const;
    /// Sends it the signal, SIGKILL or SIGTERM, and waits until it is no more. Throws `std::runtime_error`
    /// when it stays.
    static void End(pid_t inBroker, int inSignal);
    /// Stops it, and waits until it stands still. Throws `std::runtime_error` when it doesn't.
    static void Stop(pid_t inBroker);
    static void Continue(pid_t inBroker);
    /// The file that it runs.
    [[nodiscard]] static std::filesystem::path Program(pid_t inBroker);

    /// Buries the brokers that have ended by themselves. Throws `std::runtime_error` when one of them has
    /// failed. Those that found another one in their place count as well.
    void CheckOthers();
    /// How many have ended by themselves.
    [[nodiscard]] int Others() const noexcept { return mOthers; }
    /// Whether none runs or waits to be buried.
    [[nodiscard]] bool AllEnded();

  private:
    const support::PrivateBus& mBus;
    int mOthers = 0;
};

}  // namespace campaign
