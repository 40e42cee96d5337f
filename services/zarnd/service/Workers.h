/// Threads that install modules.
#pragma once

#include <functional>
#include <map>
#include <stop_token>
#include <thread>

#include "deployment/Types.h"
#include "fetch/Fetch.h"
#include "install/Install.h"
#include "install/ModuleStore.h"
#include "service/Inputs.h"

namespace orvane::plexa::zarnd {

/// One thread a module that is worked on. Used by the service's thread.
class Workers {
  public:
    Workers(const ModuleStore& inStore, FetchSettings inSettings, ConflictFinder inConflicts,
            Inputs& ioInputs)
        : mStore(inStore), mSettings(inSettings), mConflicts(std::move(inConflicts)), mInputs(ioInputs) {}

    /// Makes sure that a module is installed and intact. Its course and its end are told as inputs. Throws
    /// `std::system_error` when there is no thread to be had.
    void Start(const ModuleKey& inKey, const ModuleSpec& inModule);
    void Stop(const ModuleKey& inKey);
    /// After its end has been told.
    void Release(const ModuleKey& inKey) { mThreads.erase(inKey); }

  private:
    Outcome Work(const ModuleKey& inKey, const ModuleSpec& inModule, const std::stop_token& inStop) noexcept;
    void Install(const ModuleKey& inKey, const ModuleSpec& inModule, const std::stop_token& inStop);

    const ModuleStore& mStore;
    FetchSettings mSettings;
    ConflictFinder mConflicts;
    Inputs& mInputs;
    std::map<ModuleKey, std::jthread> mThreads;  // stopped and joined when they go
};

}  // namespace orvane::plexa::zarnd
