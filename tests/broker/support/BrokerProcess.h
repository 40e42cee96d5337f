/// The broker program in a process of its own, on a private directory.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "TemporaryDirectory.h"

/// Text of a file; empty when it cannot be read.
std::string TextOf(const std::string& inPath);

class BrokerProcess {
  public:
    struct Setup {
        std::vector<std::string> arguments;
        /// Leaves the usual arguments away.
        bool bare = false;
        /// Called in the new process before the program is run.
        std::function<void()> prepare = [] {};
        /// Waits until clients can connect.
        bool awaitReady = true;
    };

    /// Runs `OrvaneIPCBroker --runtime-dir inDirectory --log debug --log-file inDirectory/log` with the
    /// arguments given.
    explicit BrokerProcess(const std::string& inDirectory);
    BrokerProcess(const std::string& inDirectory, Setup inSetup);
    /// Kills the process if it still runs.
    ~BrokerProcess();
    BrokerProcess(const BrokerProcess&) = delete;
    BrokerProcess& operator=(const BrokerProcess&) = delete;

    pid_t Process() const { return mProcess; }
    void Signal(int inSignal) const;
    /// The exit code, 128 + n when signal n ended it; none when it hasn't ended within the patience.
    std::optional<int> Wait();
    bool Running();

    std::string SocketPath() const;
    std::string Log() const;
    bool Logs(const std::string& inText) const;

  private:
    std::string mDirectory;
    pid_t mProcess = -1;
    std::optional<int> mExit;
};

/// A program's output and exit code.
struct RunResult {
    std::string output;
    std::string errors;
    int exitCode = -1;
};
/// Runs the broker with just these arguments until it ends; only for command lines that make it end.
RunResult RunBrokerProgram(const std::vector<std::string>& inArguments);
