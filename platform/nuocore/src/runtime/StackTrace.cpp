#include "nuocore/StackTrace.h"

#include <algorithm>
#include <boost/stacktrace/frame.hpp>
#include <boost/stacktrace/stacktrace.hpp>

namespace nuocore::debug {

std::vector<std::string> CaptureStackTrace(std::size_t inSkip, std::size_t inMaxFrames) {
    // What stands before the caller, this function and parts of the unwinder, differs between systems.
    const void* const caller = __builtin_return_address(0);
    const boost::stacktrace::stacktrace trace;
    auto frame = std::find_if(trace.begin(), trace.end(), [caller](const boost::stacktrace::frame& inFrame) {
        return inFrame.address() == caller;
    });

    std::vector<std::string> names;
    if (inSkip >= static_cast<std::size_t>(trace.end() - frame)) {
        return names;
    }
    for (frame += static_cast<std::ptrdiff_t>(inSkip); frame != trace.end() && names.size() < inMaxFrames;
         ++frame) {
        names.push_back(boost::stacktrace::to_string(*frame));
    }
    return names;
}

}  // namespace nuocore::debug
