/// What a campaign of deaths plays on: a bus with a broker, the observer, and one member that lives on. It
/// knows what they held before anybody died. One thread.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Holdings.h"
#include "Observer.h"
#include "support/BrokerControl.h"
#include "support/ChildProcess.h"
#include "support/PrivateBus.h"

namespace campaign::deaths {

class Stage {
  public:
    /// Throws `std::runtime_error` when the bus doesn't come up.
    Stage(std::size_t inDeaths, std::uint64_t inSeed);

    BrokerControl& Brokers() noexcept { return mBrokers; }
    Observer& GetObserver() noexcept { return *mObserver; }
    const support::ChildProcess& Survivor() const noexcept { return *mSurvivor; }
    /// For the victims' files; nothing of the bus is in it.
    const std::filesystem::path& Folder() const noexcept { return mFolder; }
    const Holdings& AtFirst() const noexcept { return mAtFirst; }

    /// Waits until everything is as it was at first and every message is accounted for. Throws
    /// `std::runtime_error`, saying what is left over, when that does not come.
    void AwaitQuiet();
    /// Kills the broker. From here on everything has to be as it is under the next one, in which a member
    /// that has come back needs other descriptors than one that has joined.
    void ReplaceBroker();
    Holdings Now() const;
    /// The broker as it was when it was quiet last.
    pid_t Broker() const noexcept { return mBroker; }

  private:
    void TakeStock();

    support::PrivateBus mBus;
    BrokerControl mBrokers;
    std::filesystem::path mFolder;
    std::optional<Observer> mObserver;
    std::optional<support::ChildProcess> mSurvivor;
    pid_t mBroker = 0;
    Holdings mAtFirst;
};

/// How long presence took to be right after deaths.
class Latencies {
  public:
    explicit Latencies(std::size_t inCapacity) { mTimes.reserve(inCapacity); }
    void Add(std::chrono::steady_clock::duration inTime) { mTimes.push_back(inTime); }
    std::size_t Count() const { return mTimes.size(); }
    /// Those of more than a second.
    std::size_t Late() const;
    /// Median, 99th percentile and maximum.
    std::string Text();

  private:
    std::vector<std::chrono::steady_clock::duration> mTimes;
};

}  // namespace campaign::deaths
