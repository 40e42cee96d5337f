#include "Bus.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "Eventually.h"
#include "wire/FileDescriptor.h"

namespace {

std::string Text(const std::filesystem::path& inPath) {
    std::ostringstream text;
    text << std::ifstream(inPath).rdbuf();
    return text.str();
}

/// Whoever inherits a broker may reap it late.
bool HasEnded(pid_t inProcess) {
    const std::string status = Text("/proc/" + std::to_string(inProcess) + "/stat");
    const std::size_t name = status.rfind(')');
    return name == std::string::npos || status.substr(name, 3) == ") Z";
}

}  // namespace

Bus::Bus() {
    // NOLINTBEGIN(concurrency-mt-unsafe): before any thread is started
    ::setenv("PLEXA_RUNTIME_DIR", Directory().c_str(), 1);
    ::setenv("PLEXA_BROKER", NUOPLEXA_BROKER_PROGRAM, 1);
    // NOLINTEND(concurrency-mt-unsafe)
}

Bus::~Bus() { KillBroker(); }

pid_t Bus::Broker() const {
    const orvane::plexa::wire::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = mDirectory / "broker.sock";
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    ucred peer{};
    socklen_t length = sizeof(peer);
    if (::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::getsockopt(socket.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        return -1;
    }
    return peer.pid;
}

void Bus::KillBroker() {
    const pid_t broker = Broker();
    if (broker > 0) {
        ::kill(broker, SIGKILL);
        Eventually([&] { return HasEnded(broker); });
    }
}

std::size_t Bus::CountBrokers() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(
             "/proc", std::filesystem::directory_options::skip_permission_denied)) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        const std::string line = Text(entry.path() / "cmdline");
        const bool ours = Text(entry.path() / "environ").find("PLEXA_RUNTIME_DIR=" + Directory() + '\0') !=
                          std::string::npos;
        count += ours && line.starts_with(NUOPLEXA_BROKER_PROGRAM) ? 1 : 0;
    }
    return count;
}
