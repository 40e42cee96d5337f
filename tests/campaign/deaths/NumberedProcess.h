/// A process with a process id of one's choice. One thread.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "wire/FileDescriptor.h"

namespace campaign::deaths {

class NumberedProcess {
  public:
    /// Runs inWords[0] as process inId, which must be free. Throws `std::system_error`: EPERM where that is
    /// not allowed, EEXIST when the number isn't free.
    NumberedProcess(pid_t inId, std::vector<std::string> inWords);
    NumberedProcess(const NumberedProcess&) = delete;
    NumberedProcess& operator=(const NumberedProcess&) = delete;
    /// Kills it.
    ~NumberedProcess();

    /// Kills it, and waits until it is no more.
    void End();
    /// The next line that it writes; empty when none comes.
    std::string NextLine();

  private:
    orvane::plexa::wire::FileDescriptor mOutput;
    std::string mRead;
    pid_t mId = 0;
};

/// Whether process ids can be chosen here.
bool CanChooseProcessIds();

}  // namespace campaign::deaths
