/// How an installation is shown. No I/O.
#pragma once

#include <string>

namespace orvane::plexa::tool {

/// For people that look at a terminal: a line that is to be written over the one before.
std::string ProgressBar(const std::string& inModule, int inPercent);

/// The percentage of a share, as a whole number from 0 to 100 whatever the share is.
int PercentOf(float inShare);

/// One JSON object a line: "module", "event", and "percent" of progress, or "code", "text" and "result" of an
/// error.
std::string ProgressLine(const std::string& inModule, int inPercent);
std::string EndLine(const std::string& inModule, const char* inEvent);
std::string ErrorLine(const std::string& inModule, const std::string& inCode, const std::string& inText,
                      int inResult);

}  // namespace orvane::plexa::tool
