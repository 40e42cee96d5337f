/// One call into a context.
#pragma once

#include "EngineContext.h"

namespace nuoscripting::engine {

/// Calls within calls belong to the outermost. The engine's lock is held by that one, so that promises do
/// their part under the context's limits, after the script.
class EngineContext::Entry {
  public:
    /// Throws `ScriptLimitExceeded` inside a script that has been stopped: native methods don't call it any
    /// more.
    explicit Entry(EngineContext& ioContext);
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
    ~Entry();

    /// Does a piece of work that may be followed by others, and finishes it.
    void Do(const std::function<void()>& inWork);
    /// After the work was done: what promises have to do, and whether all of it went well.
    void Finish();

  private:
    void RunMicrotasks();

    EngineContext& mContext;
    EngineContext* const mBefore;  // whose script the thread ran
    bool mHasRunMicrotasks = false;
};

}  // namespace nuoscripting::engine
