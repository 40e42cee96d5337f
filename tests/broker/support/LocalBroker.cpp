#include "LocalBroker.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "BrokerProcess.h"
#include "Eventually.h"

using namespace orvane::plexa::broker;

LocalBroker::LocalBroker(const orvane::plexa::wire::Limits& inLimits)
    : mLog(OpenLog(mDirectory / "log", spdlog::level::debug)) {
    std::array<int, 2> stop{};
    if (::pipe2(stop.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::system_category(), "pipe");
    mStop = FileDescriptor(stop[1]);
    std::optional<MembersFile> members = MembersFile::Acquire(mDirectory / "members", inLimits.members);
    mServer.emplace(ServerParts{mDirectory.Path(), std::move(*members), Listener::Bind(SocketPath()),
                                FileDescriptor(stop[0]), std::chrono::seconds(0)},
                    inLimits, *mLog);
    mThread = std::thread([this] { mServer->Run(); });
}

LocalBroker::~LocalBroker() {
    mStop.Close();
    mThread.join();
}

std::string LocalBroker::SocketPath() const { return mDirectory / "broker.sock"; }

bool LocalBroker::Logs(const std::string& inText) const {
    return Eventually([&] { return TextOf(mDirectory / "log").find(inText) != std::string::npos; });
}
