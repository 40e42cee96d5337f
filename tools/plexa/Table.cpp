#include "Table.h"

#include <algorithm>
#include <cstddef>

namespace orvane::plexa::tool {

namespace {

// Characters of a text in UTF-8.
std::size_t LengthOf(const std::string& inText) {
    return static_cast<std::size_t>(std::count_if(inText.begin(), inText.end(), [](char inByte) {
        return (static_cast<unsigned char>(inByte) & 0xC0U) != 0x80U;
    }));
}

}  // namespace

void PrintTable(const std::vector<std::vector<std::string>>& inRows, Output& ioOutput) {
    std::vector<std::size_t> widths(inRows.front().size());
    for (const auto& row : inRows) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], LengthOf(row[i]));
    }
    for (const auto& row : inRows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line += std::string(widths[i] - LengthOf(row[i]) + 2, ' ');
        }
        ioOutput.Line(&row == &inRows.front() ? ioOutput.Strong(line) : line);
    }
}

}  // namespace orvane::plexa::tool
