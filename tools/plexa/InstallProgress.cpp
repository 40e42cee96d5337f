#include "InstallProgress.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "PayloadText.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

constexpr int kBarCells = 30;
constexpr int kAll = 100;

VariantObject Line(const std::string& inModule, const char* inEvent) {
    VariantObject line;
    line["module"] = MakeValue(UTF8String(std::string_view(inModule)));
    line["event"] = MakeValue(UTF8String(inEvent));
    return line;
}

}  // namespace

std::string ProgressBar(const std::string& inModule, int inPercent) {
    const int filled = inPercent * kBarCells / kAll;
    std::string number = std::to_string(inPercent);
    number.insert(0, 3 - std::min<std::size_t>(number.size(), 3), ' ');
    return "\r" + PlainLine(inModule) + " [" + std::string(static_cast<std::size_t>(filled), '#') +
           std::string(static_cast<std::size_t>(kBarCells - filled), '.') + "] " + number + " %";
}

int PercentOf(float inShare) {
    // What is no number counts as nothing.
    if (!(inShare > 0)) return 0;
    return static_cast<int>(std::lround(std::min(inShare, 1.F) * static_cast<float>(kAll)));
}

std::string ProgressLine(const std::string& inModule, int inPercent) {
    VariantObject line = Line(inModule, "progress");
    line["percent"] = MakeValue(std::int64_t{inPercent});
    return JSONLine(VariantValue(line));
}

std::string EndLine(const std::string& inModule, const char* inEvent) {
    return JSONLine(VariantValue(Line(inModule, inEvent)));
}

std::string ErrorLine(const std::string& inModule, const std::string& inCode, const std::string& inText,
                      int inResult) {
    VariantObject line = Line(inModule, "error");
    line["code"] = MakeValue(UTF8String(std::string_view(inCode)));
    line["text"] = MakeValue(UTF8String(std::string_view(inText)));
    line["result"] = MakeValue(std::int64_t{inResult});
    return JSONLine(VariantValue(line));
}

}  // namespace orvane::plexa::tool
