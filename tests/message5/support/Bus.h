/// A bus of a test's own: a runtime directory for it, and the freshly built broker to be started on demand.
#pragma once

#include <cstddef>
#include <string>

#include <sys/types.h>

#include "TemporaryDirectory.h"

class Bus {
  public:
    /// Points this process and those that it starts to the new bus.
    Bus();
    /// Ends the broker.
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    const std::string& Directory() const { return mDirectory.Path(); }
    /// The process that listens on the socket; -1 when none does.
    pid_t Broker() const;
    /// Kills the broker and waits until it is gone.
    void KillBroker();
    /// Processes that run the broker's program for this bus.
    std::size_t CountBrokers() const;

  private:
    TemporaryDirectory mDirectory;
};
