/// A message bus of a test's own.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace support {

/// A private runtime directory, in which the first client starts a broker. The broker is ended, and the
/// directory removed, when the object goes.
class PrivateBus {
  public:
    PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    [[nodiscard]] const std::filesystem::path& Folder() const noexcept { return mFolder; }

    /// The environment of programs that are to meet on this bus; `inBrokerBase` is the folder below which the
    /// broker is found.
    [[nodiscard]] std::map<std::string, std::optional<std::string>> Environment(
        const std::string& inBrokerBase) const;

    /// Process id of the broker that holds this directory's socket; nothing when there is none.
    [[nodiscard]] std::optional<int> BrokerId() const;

  private:
    std::filesystem::path mFolder;
};

}  // namespace support
