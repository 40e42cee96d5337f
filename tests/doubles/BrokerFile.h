/// A broker file on this machine, or none, for as long as the object lives.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace doubles {

/// Points both standard locations, and the configuration directories, into a private folder.
class BrokerFile {
  public:
    explicit BrokerFile(bool inExists = true) {
        std::string pattern = (std::filesystem::temp_directory_path() / "broker-file-XXXXXX").string();
        mFolder = ::mkdtemp(pattern.data());
        for (const char* variable : {"CommonProgramFiles(x86)", "CommonProgramFiles"}) {
            ::setenv(variable, mFolder.c_str(), 1);
        }
        ::setenv("XDG_CONFIG_HOME", (mFolder / "config").c_str(), 1);
        ::setenv("XDG_CONFIG_DIRS", (mFolder / "etc").c_str(), 1);
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
    std::filesystem::path mFolder;
};

}  // namespace doubles
