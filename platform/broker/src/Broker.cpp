#include "Broker.h"

#include <exception>
#include <iostream>
#include <stdexcept>

#include "Activation.h"
#include "Daemon.h"
#include "Log.h"
#include "MembersFile.h"
#include "Server.h"
#include "Version.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::broker {

namespace {

constexpr std::string_view kLogName = "broker.log";

Listener MakeListener(std::optional<int> inActivated, const std::string& inRuntimeDirectory) {
    if (inActivated) return Listener::Adopt(FileDescriptor(*inActivated));
    return Listener::Bind(wire::RuntimePath(inRuntimeDirectory, wire::kSocketName));
}

std::string LogFile(const Options& inOptions, const std::string& inRuntimeDirectory) {
    if (!inOptions.logFile.empty() || !inOptions.onDemand) return inOptions.logFile;
    return wire::RuntimePath(inRuntimeDirectory, kLogName);
}

int Serve(const Options& inOptions, std::optional<int> inActivated) {
    const std::string directory =
        inOptions.runtimeDirectory.empty() ? wire::RuntimeDirectoryPath() : inOptions.runtimeDirectory;
    if (const std::string trouble = wire::EnsureRuntimeDirectory(directory, ::geteuid()); !trouble.empty()) {
        throw std::runtime_error(trouble);
    }
    const wire::Limits limits;
    std::optional<MembersFile> members =
        MembersFile::Acquire(wire::RuntimePath(directory, wire::kMembersName), limits.members);
    if (!members) return kExitSuccess;  // another broker serves already, which is all that was wanted

    const std::shared_ptr<Log> log = OpenLog(LogFile(inOptions, directory), inOptions.logLevel);
    try {
        FileDescriptor termination = WatchTermination();
        Listener listener = MakeListener(inActivated, directory);
        Server server(
            {directory, std::move(*members), std::move(listener), std::move(termination), inOptions.idleExit},
            limits, *log);
        log->info("version {} started in {}{}", kVersion, directory,
                  inActivated ? ", socket handed over" : "");
        if (inOptions.onDemand) Detach();
        if (inOptions.readyDescriptor >= 0) ReportReady(inOptions.readyDescriptor);
        const EndReason reason = server.Run();
        log->info("stopped: {}",
                  reason == EndReason::kIdle ? "nobody was connected" : "asked to by a signal");
        return kExitSuccess;
    } catch (const std::exception& error) {
        log->error("stopped: {}", error.what());
        return kExitFailure;
    }
}

}  // namespace

int RunBroker(const Options& inOptions) {
    try {
        const std::optional<int> activated = TakeActivatedSocket();
        const int kept[] = {inOptions.readyDescriptor, activated.value_or(-1)};
        CloseInheritedDescriptors(kept);
        SettleProcess();
        return Serve(inOptions, activated);
    } catch (const std::exception& error) {
        std::cerr << "OrvaneIPCBroker: " << error.what() << "\n";
        return kExitFailure;
    }
}

}  // namespace orvane::plexa::broker
