#include "processes/ProcessStart.h"

#include <charconv>
#include <string>

#include "processes/KernelText.h"

namespace orvane::plexa::zarnd {

std::uint64_t StartOfSystemProcess(std::int32_t inProcessId) {
    constexpr int kFieldsBefore = 20;  // between the name and the time of the start
    const std::string stat = KernelText("/proc/" + std::to_string(inProcessId) + "/stat");
    // The name stands in parentheses and may have anything in it.
    std::size_t place = stat.rfind(')');
    for (int field = 0; field < kFieldsBefore && place != std::string::npos; ++field) {
        place = stat.find(' ', place + 1);
    }
    if (place == std::string::npos) return 0;
    std::uint64_t start = 0;
    std::from_chars(stat.data() + place + 1, stat.data() + stat.size(), start);
    return start;
}

}  // namespace orvane::plexa::zarnd
