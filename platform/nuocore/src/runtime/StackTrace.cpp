#include "nuocore/StackTrace.h"

#include <boost/stacktrace/frame.hpp>
#include <boost/stacktrace/stacktrace.hpp>
#include <limits>

namespace nuocore::debug {

std::vector<std::string> CaptureStackTrace(std::size_t inSkip, std::size_t inMaxFrames) {
    std::vector<std::string> names;
    if (inSkip == std::numeric_limits<std::size_t>::max()) {
        return names;
    }
    const boost::stacktrace::stacktrace trace(inSkip + 1, inMaxFrames);  // this function is a frame, too
    names.reserve(trace.size());
    for (const boost::stacktrace::frame& frame : trace) {
        names.push_back(boost::stacktrace::to_string(frame));
    }
    return names;
}

}  // namespace nuocore::debug
