/// What the kernel tells in files.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace orvane::plexa::zarnd {

/// All of a file that has no size; empty when there is no such file.
inline std::string KernelText(const std::string& inPath) {
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace orvane::plexa::zarnd
