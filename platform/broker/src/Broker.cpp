#include "Broker.h"

#include <chrono>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "Activation.h"
#include "Daemon.h"
#include "Log.h"
#include "MembersFile.h"
#include "Server.h"
#include "Settings.h"
#include "Version.h"
#include "wire/InheritedDescriptors.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::broker {

namespace {

constexpr std::string_view kLogName = "broker.log";

/// How long to wait for the one who serves to end, when a service manager has taken over its place.
constexpr std::chrono::seconds kHandOverTime{10};
constexpr std::chrono::milliseconds kHandOverInterval{10};

Listener MakeListener(std::optional<int> inActivated, const std::string& inRuntimeDirectory) {
    const std::string path = wire::RuntimePath(inRuntimeDirectory, wire::kSocketName);
    if (inActivated) return Listener::Adopt(FileDescriptor(*inActivated), path);
    return Listener::Bind(path);
}

/// None when another broker serves already, which is all that was wanted. With a socket handed over it is
/// not: then the other one has lost its place to the manager and is about to end.
std::optional<MembersFile> AcquireMembers(const std::string& inPath, std::size_t inCapacity,
                                          bool inActivated) {
    const auto deadline = std::chrono::steady_clock::now() + kHandOverTime;
    for (;;) {
        std::optional<MembersFile> members = MembersFile::Acquire(inPath, inCapacity);
        if (members || !inActivated) return members;
        if (std::chrono::steady_clock::now() >= deadline) {
            throw std::runtime_error("another broker serves the directory of the socket handed over; end it");
        }
        std::this_thread::sleep_for(kHandOverInterval);
    }
}

std::string_view Text(EndReason inReason) {
    switch (inReason) {
        case EndReason::kIdle:
            return "nobody was connected";
        case EndReason::kSignal:
            return "asked to by a signal";
        case EndReason::kReplaced:
            return "another broker serves the runtime directory";
    }
    return "for no reason";
}

std::shared_ptr<Log> MakeLog(const Options& inOptions, const std::string& inRuntimeDirectory) {
    if (!inOptions.logFile.empty() || !inOptions.onDemand) {
        return OpenLog(inOptions.logFile, inOptions.logLevel);
    }
    try {
        return OpenLog(wire::RuntimePath(inRuntimeDirectory, kLogName), inOptions.logLevel);
    } catch (const spdlog::spdlog_ex& error) {
        // Nobody has asked for this file: without it messages can be carried all the same.
        std::shared_ptr<Log> log = OpenLog({}, inOptions.logLevel);
        log->warn("cannot log to a file: {}", error.what());
        return log;
    }
}

/// A file that nobody named is no reason not to start.
Settings LoadSettings(const std::string& inPath) {
    std::optional<ConfigurationFile> file;
    std::string trouble;
    try {
        file = ReadConfigurationFile(inPath, ProcessEnvironment);
    } catch (const std::runtime_error& error) {
        if (!inPath.empty()) throw;
        trouble = error.what();
    }
    Settings settings = ReadSettings(file, ProcessEnvironment);
    if (!trouble.empty()) settings.complaints.push_back(trouble);
    return settings;
}

int Serve(const Options& inOptions, std::optional<int> inActivated) {
    const std::string directory =
        inOptions.runtimeDirectory.empty() ? wire::RuntimeDirectoryPath() : inOptions.runtimeDirectory;
    if (const std::string trouble = wire::EnsureRuntimeDirectory(directory, ::geteuid()); !trouble.empty()) {
        throw std::runtime_error(trouble);
    }
    const auto [limits, complaints] = LoadSettings(inOptions.configurationFile);
    std::optional<MembersFile> members = AcquireMembers(wire::RuntimePath(directory, wire::kMembersName),
                                                        limits.members, inActivated.has_value());
    if (!members) return kExitSuccess;

    const std::shared_ptr<Log> log = MakeLog(inOptions, directory);
    for (const std::string& complaint : complaints) log->warn("{}", complaint);
    for (const std::string& complaint : members->Complaints()) log->warn("{}", complaint);
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
        log->info("stopped: {}", Text(reason));
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
        wire::CloseInheritedDescriptors(kept);
        SettleProcess();
        return Serve(inOptions, activated);
    } catch (const std::exception& error) {
        std::cerr << "OrvaneIPCBroker: " << error.what() << "\n";
        return kExitFailure;
    }
}

}  // namespace orvane::plexa::broker
