/// Tells that something in a directory came, went or was renamed, or the directory itself. Single-threaded.
#pragma once

#include <string>

#include "FileDescriptor.h"

namespace orvane::plexa::broker {

class DirectoryWatch {
  public:
    /// Readable when something has changed; -1 when the system grants no watch.
    int Descriptor() const noexcept { return mNotices.Get(); }
    /// Watches what inPath is now; an earlier watch goes on. Changes from here on are noticed. False with
    /// errno telling why when the system grants no watch.
    bool Begin(const std::string& inPath) noexcept;
    /// Forgets what has been noticed.
    void Drain() noexcept;

  private:
    FileDescriptor mNotices;
};

}  // namespace orvane::plexa::broker
