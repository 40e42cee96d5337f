/// A bus with the real desktop service, its catalogues and its data in a folder of the test's own.
#pragma once

#include <csignal>
#include <memory>
#include <string>

#include "ToolRun.h"

namespace tool_test {

class OnDesktop : public testing::Test {
  protected:
    OnDesktop();
    /// Ends the service too when it was the tool that started it.
    ~OnDesktop() override;

    [[nodiscard]] support::Command Command(std::vector<std::string> inArguments) const;
    [[nodiscard]] support::Finished Run(std::vector<std::string> inArguments) const {
        return support::Run(Command(std::move(inArguments)));
    }

    /// Offers a module of the product "QRTX" with a file of so many bytes of noise; perhaps one with which a
    /// program conflicts, or whose archive is said to be somewhere else than it is.
    void Offer(const std::string& inModule, std::size_t inBytes, const std::string& inConflict = {},
               const std::string& inAddress = {}) const;
    void StartService();
    void KillService();
    /// Process id of the service on the bus; 0 when there is none.
    [[nodiscard]] int ServiceOnBus() const;
    /// Waits until no process is on the bus whose app id begins so.
    void AwaitGone(const std::string& inAppIdPrefix) const;
    /// Waits until a file of the service has a text.
    void AwaitIn(const std::string& inFile, const std::string& inText) const;
    [[nodiscard]] std::filesystem::path Data() const { return mBus.Folder() / "data/orvane/zarnd"; }
    [[nodiscard]] std::filesystem::path Files(const std::string& inModule) const {
        return Data() / "modules/QRTX" / inModule / "current/files";
    }

    support::PrivateBus mBus;

  private:
    std::unique_ptr<support::ChildProcess> mService;
};

}  // namespace tool_test
