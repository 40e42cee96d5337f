#include "service/Notes.h"

#include <gmock/gmock.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "nuocore/Log.h"
#include "support/ChildProcess.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;

TEST(Notes, LeaveOutWhatIsProvokedTooOftenAndSayHowMuchItWas) {
    std::vector<std::string> notes;
    nuocore::log::SetLogSink(
        [&](const nuocore::log::LogRecord& inRecord) { notes.emplace_back(inRecord.mMessage); });
    constexpr std::size_t kMany = 500;
    const auto begin = std::chrono::steady_clock::now();
    std::size_t given = 0;
    for (; given != kMany; ++given) NoteProvoked("again");
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(notes.size(), 1U);
    EXPECT_LE(static_cast<double>(notes.size()), 50 + time.count() + 1);
    const std::size_t before = notes.size();
    const auto until = begin + support::kPatience;
    while (notes.size() == before && std::chrono::steady_clock::now() < until) {
        NoteProvoked("again");
        ++given;
    }
    EXPECT_EQ(notes.back(),
              "again (and " + std::to_string(given - notes.size()) + " records that were left out)");
    nuocore::log::SetLogSink({});
}

}  // namespace zarnd_test
