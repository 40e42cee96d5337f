/// What is measured runs in processes of its own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include <sys/types.h>

namespace bench {

struct Measured {
    double mSeconds = 0;
    long mPeakKiB = 0;
};

/// Runs a function in a new process, whose exit code it returns, and waits for it. Throws when that is not 0.
Measured Measure(const std::function<int()>& inWork);

/// Serves one file to everybody who asks, by HTTP on this machine, in a process of its own as long as this
/// lives.
class FileServer {
  public:
    explicit FileServer(const std::filesystem::path& inPath);
    FileServer(const FileServer&) = delete;
    FileServer& operator=(const FileServer&) = delete;
    ~FileServer();

    [[nodiscard]] std::string Address() const;

  private:
    pid_t mProcess = -1;
    std::uint16_t mPort = 0;
};

}  // namespace bench
