/// Looks now and then at what the bounds are about, from outside, and remembers the most it saw.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Crew.h"

namespace campaign::stopped {

class MemoryWatch {
  public:
    /// Before the load. inArrears: the senders' bound of arrears in bytes.
    MemoryWatch(const Crew& inCrew, std::size_t inArrears);

    void Look();
    /// The most that one receiver owed to one sender, in bytes.
    std::size_t MostArrears() const { return mPeaks.at("arrears of one receiver").mMost; }
    /// Prints the most of each beside its bound. False when one was exceeded.
    bool Report();

  private:
    struct Peak {
        std::size_t mMost = 0;
        std::size_t mBound = 0;
    };

    void LookAtBroker();
    void LookAtArrears();
    void Note(const std::string& inName, std::size_t inAmount, std::size_t inBound);

    const Crew& mCrew;
    std::size_t mArrears;
    std::map<std::string, Peak> mPeaks;
    std::size_t mBrokerAtFirst;
    std::vector<std::size_t> mSendersAtFirst;
    /// By sender and receiver: the most beyond the bound of arrears.
    std::map<std::pair<std::size_t, std::size_t>, std::size_t> mExcess;
    std::vector<std::uint32_t> mSettled;  // by sender: every message before this number has all its fates
};

}  // namespace campaign::stopped
