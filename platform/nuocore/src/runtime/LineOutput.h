// Where the default sinks of log and trace write.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace spdlog {
class logger;
}

namespace nuocore::debug {

/// Writes text to the standard error stream or appends it to a file, each piece at once. Any thread.
class LineOutput {
  public:
    /// An empty path stands for the standard error stream, which also takes the place of a file that can't
    /// be opened, after a line that says so. Throws `std::bad_alloc`.
    explicit LineOutput(const std::string& inPath);

    /// Writes `inText` as it is, line end included. What can't be written is dropped.
    void Write(std::string_view inText) noexcept;

  private:
    std::shared_ptr<spdlog::logger> mLogger;
};

}  // namespace nuocore::debug
