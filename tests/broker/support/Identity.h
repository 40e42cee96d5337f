/// A process that connects on behalf of the test: the broker knows clients by the process that connected, and
/// takes several of one process for one that joined anew.
#pragma once

#include <string>

#include <sys/types.h>

#include "FileDescriptor.h"

class Identity {
  public:
    Identity();
    /// Ends the process.
    ~Identity();
    Identity(const Identity&) = delete;
    Identity& operator=(const Identity&) = delete;

    /// A connection made by the process, held by the test alone. Throws std::system_error when it cannot be
    /// made.
    orvane::plexa::broker::FileDescriptor Connect(const std::string& inSocketPath);
    pid_t Process() const { return mProcess; }
    /// Kills the process; what it connected stays open.
    void End();

  private:
    orvane::plexa::broker::FileDescriptor mControl;
    pid_t mProcess = -1;
};
