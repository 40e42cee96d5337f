/// One victim, seen from the campaign. One thread.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Book.h"
#include "Observer.h"
#include "Plan.h"
#include "support/ChildProcess.h"

namespace campaign::deaths {

/// This program in a role of this campaign.
std::vector<std::string> RoleWords(const std::string& inRole, const std::vector<std::string>& inWords);

class Victim {
  public:
    /// Starts it. inFolder: where it may keep what it says.
    Victim(const Plan& inPlan, const std::string& inName, const std::filesystem::path& inFolder);
    Victim(const Victim&) = delete;
    Victim& operator=(const Victim&) = delete;
    /// Ends the copy that it may have left.
    ~Victim();

    const Plan& GetPlan() const noexcept { return mPlan; }
    /// On the bus.
    const std::string& AppId() const noexcept { return mAppId; }

    /// Kills it when its time has come, and stops it before if that is planned. Throws `std::runtime_error`
    /// when it doesn't get where it is to die.
    void Go();
    /// When it was killed.
    std::optional<Time> Killed() const noexcept { return mKilled; }

    /// After its death: waits until nothing of it is left but what it left behind on purpose, and enters into
    /// ioBook what it has said. Throws `std::runtime_error` when it ended by itself.
    void Bury(Book& ioBook);

  private:
    std::string Said() const;

    const Plan mPlan;
    const std::string mAppId;
    const std::filesystem::path mFile;
    std::optional<support::ChildProcess> mProcess;
    const Time mStarted;
    std::optional<Time> mReady;
    std::optional<Time> mKilled;
    pid_t mCopy = 0;
};

}  // namespace campaign::deaths
