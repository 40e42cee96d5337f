/// Tables for people.
#pragma once

#include <string>
#include <vector>

#include "Output.h"

namespace orvane::plexa::tool {

/// Prints rows with columns as wide as their texts have characters; the first row are the headings, and all
/// rows have as many texts as it has.
void PrintTable(const std::vector<std::vector<std::string>>& inRows, Output& ioOutput);

}  // namespace orvane::plexa::tool
