/// A broker on a thread of the test's own process, with bounds that the program's command line does not
/// offer.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "FileDescriptor.h"
#include "Server.h"
#include "TemporaryDirectory.h"
#include "wire/Limits.h"

class LocalBroker {
  public:
    explicit LocalBroker(const orvane::plexa::wire::Limits& inLimits);
    ~LocalBroker();
    LocalBroker(const LocalBroker&) = delete;
    LocalBroker& operator=(const LocalBroker&) = delete;

    std::string SocketPath() const;
    bool Logs(const std::string& inText) const;

  private:
    TemporaryDirectory mDirectory;
    std::shared_ptr<orvane::plexa::broker::Log> mLog;
    /// The broker ends when this is closed.
    orvane::plexa::broker::FileDescriptor mStop;
    std::optional<orvane::plexa::broker::Server> mServer;
    std::thread mThread;
};
