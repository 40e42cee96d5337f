/// A desktop of a test's own: a bus, a folder with catalogues and installed modules, and the service.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "catalogue/Catalogue.h"
#include "support/ChildProcess.h"
#include "support/PrivateBus.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

class Desk {
  public:
    /// Writes the catalogue of the product "QRTX".
    void Offer(const std::vector<orvane::plexa::zarnd::ModuleSpec>& inModules);
    /// Writes an archive to a file and returns its address.
    [[nodiscard]] std::string Store(const std::string& inArchive, const std::string& inName) const;

    /// Starts the service and waits until it serves.
    void StartService(const std::vector<std::string>& inMore = {});
    [[nodiscard]] support::ChildProcess& Service() { return *mService; }
    /// A service that isn't waited for.
    [[nodiscard]] support::Command ServiceCommand(const std::vector<std::string>& inMore = {}) const;

    /// A host that asks for a module.
    [[nodiscard]] std::unique_ptr<support::ChildProcess> Host(const std::string& inModule,
                                                              const std::string& inName = "HOST",
                                                              const std::string& inProduct = "QRTX") const;
    /// The last line that a host prints; it has ended.
    [[nodiscard]] std::string EndOf(support::ChildProcess& ioHost) const;
    /// Asks the service by the command-line tool; returns the answer as JSON.
    [[nodiscard]] std::string Ask(const char* inType, const std::vector<std::string>& inPairs) const;

    [[nodiscard]] std::filesystem::path Data() const { return mScratch.Path() / "data"; }
    [[nodiscard]] std::filesystem::path Files(const std::string& inModule) const {
        return Data() / "modules" / "QRTX" / inModule / "current" / "files";
    }
    [[nodiscard]] const support::PrivateBus& Bus() const { return mBus; }

  private:
    support::PrivateBus mBus;
    ScratchFolder mScratch;
    std::unique_ptr<support::ChildProcess> mService;  // ends before its bus
};

}  // namespace zarnd_test
