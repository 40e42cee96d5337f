/// Running code on the host's UI thread. Any thread.
#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "nuocore/AsyncExecutor.h"
#include "nuoscripting/export.h"

namespace nuoscripting {

/// Tells where the UI thread is: an executor that runs work on it, and whether the calling thread is it.
/// Without one (null; at first) there is no UI thread, and what is to run there fails.
NUOSCRIPTING_API void SetUIThread(boost::shared_ptr<nuocore::async::AsyncExecutor> inExecutor,
                                  std::function<bool()> inIsCurrent);

/// Has `inFunction` run on the UI thread and doesn't wait. Throws `ScriptError` when there is none.
NUOSCRIPTING_API void PostToUIThread(std::function<void()> inFunction);

/// Runs `inFunction` on the UI thread and waits for its end; runs it at once on the UI thread itself. Passes
/// on what it throws. Throws `ScriptError` when there is no UI thread, and when `inTimeout` is over: then the
/// function will not be begun any more, or, if it has been begun, runs to its end unattended. So it owns what
/// it uses.
NUOSCRIPTING_API void DirectVoidCallOnUIThread(std::function<void()> inFunction,
                                               std::chrono::milliseconds inTimeout);

/// The same for a function with a result.
template <typename Function>
auto CallFunctionOnUIThread(Function inFunction, std::chrono::milliseconds inTimeout) {
    // Shared, because a call that came too late still writes it.
    const auto result = std::make_shared<std::optional<std::invoke_result_t<Function&>>>();
    DirectVoidCallOnUIThread(
        [result, function = std::move(inFunction)]() mutable { result->emplace(function()); }, inTimeout);
    return std::move(**result);
}

}  // namespace nuoscripting
