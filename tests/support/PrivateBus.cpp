#include "support/PrivateBus.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace support {

namespace {

std::filesystem::path NewFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "plexa-bus-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a directory");
    return pattern;
}

}  // namespace

PrivateBus::PrivateBus() : mFolder(NewFolder()) {}

PrivateBus::~PrivateBus() {
    if (const auto id = BrokerId()) ::kill(*id, SIGKILL);
    std::error_code ignored;
    std::filesystem::remove_all(mFolder, ignored);
}

std::map<std::string, std::optional<std::string>> PrivateBus::Environment(
    const std::string& inBrokerBase) const {
    return {{"PLEXA_RUNTIME_DIR", mFolder.string()},
            {"CommonProgramFiles", inBrokerBase},
            {"CommonProgramFiles(x86)", std::nullopt},
            {"XDG_CONFIG_HOME", (mFolder / "config").string()},
            {"XDG_CONFIG_DIRS", (mFolder / "etc").string()},
            {"NUOCORE_SAP_CODE", std::nullopt},
            {"NUOCORE_CLIENT_VERSION", std::nullopt},
            {"NUOCORE_LOG", std::nullopt},
            {"NUOCORE_TRACE", std::nullopt},
            {"NO_COLOR", std::nullopt}};
}

std::optional<int> PrivateBus::BrokerId() const {
    const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = (mFolder / "broker.sock").string();
    std::memcpy(address.sun_path, path.c_str(), std::min(path.size() + 1, sizeof address.sun_path));
    std::optional<int> id;
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0) {
        id = peer.pid;
    }
    ::close(connection);
    return id;
}

}  // namespace support
