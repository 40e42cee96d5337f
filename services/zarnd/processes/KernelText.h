/// What the kernel tells in files.
#pragma once

#include <fstream>
#include <sstream>
#include <string>

namespace orvane::plexa::zarnd {

/// All of a file that has no size; empty when there is no such file, or no more: that of a process goes with
/// the process, also while it's read, which an iterator would throw of.
inline std::string KernelText(const std::string& inPath) {
    std::ostringstream text;
    text << std::ifstream(inPath, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace orvane::plexa::zarnd
