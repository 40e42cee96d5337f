/// A broker file on this machine, or none, for as long as the object lives.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "support/System.h"

namespace doubles {

/// Points both standard locations, and the configuration directories, into a private folder.
class BrokerFile {
  public:
    explicit BrokerFile(bool inExists = true) {
        for (const char* variable : {"CommonProgramFiles(x86)", "CommonProgramFiles"}) {
            support::SetVariable(variable, mFolder.string());
        }
        support::SetVariable("XDG_CONFIG_HOME", (mFolder / "config").string());
        support::SetVariable("XDG_CONFIG_DIRS", (mFolder / "etc").string());
        if (inExists) {
            const auto folder = mFolder / "Orvane" / "Orvane Desktop Common" / "IPCBox";
            std::filesystem::create_directories(folder);
            std::ofstream(folder / "OrvaneIPCBroker.exe") << "not empty";
        }
    }
    BrokerFile(const BrokerFile&) = delete;
    BrokerFile& operator=(const BrokerFile&) = delete;
    ~BrokerFile() {
        std::error_code ignored;
        std::filesystem::remove_all(mFolder, ignored);
    }

    [[nodiscard]] const std::filesystem::path& Folder() const { return mFolder; }

  private:
    std::filesystem::path mFolder = support::MakeTemporaryFolder("broker-file-");
};

}  // namespace doubles
