/// What is kept of observers for the service's next run.
#pragma once

#include <filesystem>

#include "notifications/Observers.h"

namespace orvane::plexa::zarnd {

/// A file with observers and their processes. Those of another boot of the system are worth nothing.
class ObserverFile {
  public:
    explicit ObserverFile(std::filesystem::path inPath) : mPath(std::move(inPath)) {}

    /// Replaces the file by one rename. Throws `Failure`.
    void Save(const Observers::Table& inTable) const;
    /// What the file says; nothing, with a record in the log, when it can't be understood.
    [[nodiscard]] Observers::Table Load() const;

  private:
    std::filesystem::path mPath;
};

}  // namespace orvane::plexa::zarnd
