#include "Table.h"

#include <algorithm>
#include <cstddef>

namespace orvane::plexa::tool {

void PrintTable(const std::vector<std::vector<std::string>>& inRows, Output& ioOutput) {
    std::vector<std::size_t> widths(inRows.front().size());
    for (const auto& row : inRows) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    for (const auto& row : inRows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line += std::string(widths[i] - row[i].size() + 2, ' ');
        }
        ioOutput.Line(&row == &inRows.front() ? ioOutput.Strong(line) : line);
    }
}

}  // namespace orvane::plexa::tool
