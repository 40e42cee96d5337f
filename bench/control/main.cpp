// How long it takes to look up an application's path when many desktop entries are there.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

#include "nuoplexasupport/Applications.h"

#ifdef BENCH_UNOPTIMISED
#error "a benchmark of a debug build says nothing; use the release preset"
#endif

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kEntries = 500;
constexpr int kLookUps = 20000;
constexpr double kBar = 50;  // microseconds

class Desktop {
  public:
    Desktop() {
        std::string pattern = (fs::temp_directory_path() / "bench-control-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a directory");
        mFolder = pattern;
        fs::create_directories(mFolder / "applications");
        for (int i = 0; i != kEntries; ++i) Write(i, "/bin/sh");
        ::setenv("XDG_DATA_HOME", mFolder.c_str(), 1);
        ::setenv("XDG_DATA_DIRS", "/nowhere", 1);
    }
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;
    ~Desktop() {
        std::error_code ignored;
        fs::remove_all(mFolder, ignored);
    }
    static std::string Id(int inEntry) { return "APP" + std::to_string(inEntry) + "-1.0"; }
    void Write(int inEntry, const std::string& inProgram) const {
        std::ofstream(mFolder / "applications" / ("app" + std::to_string(inEntry) + ".desktop"))
            << "[Desktop Entry]\nType=Application\nName=App\nX-Plexa-AppId=" << Id(inEntry)
            << "\nExec=" << inProgram << " %F\n";
    }

  private:
    fs::path mFolder;
};

double Microseconds(Clock::duration inTime) {
    return std::chrono::duration<double, std::micro>(inTime).count();
}

double TimeOf(const std::string& inId, bool& ioFound) {
    const auto began = Clock::now();
    ioFound = !nuoplexasupport::GetInstalledAppPath(inId).empty();
    return Microseconds(Clock::now() - began);
}

double At(std::vector<double>& ioTimes, std::size_t inPerMille) {
    std::sort(ioTimes.begin(), ioTimes.end());
    return ioTimes[(ioTimes.size() - 1) * inPerMille / 1000];
}

void Print(const char* inWhat, double inTime) {
    std::cout << std::left << std::setw(52) << inWhat << std::right << std::fixed << std::setprecision(1)
              << std::setw(9) << inTime << " us\n";
}

}  // namespace

int main() {
    const Desktop desktop;
    bool found = true;
    std::cout << kEntries << " desktop entries\n";
    Print("the first look-up, which reads them all", TimeOf(Desktop::Id(0), found));
    // What was written a moment ago is read again, since its time may not show a change.
    ::usleep(200000);
    std::vector<double> times;
    for (int i = 0; i != kLookUps; ++i) times.push_back(TimeOf(Desktop::Id(i * 7 % kEntries), found));
    const double median = At(times, 500);
    Print("a look-up, warm: median", median);
    Print("                 99 of 100", At(times, 990));
    Print("                 the longest", times.back());
    times.clear();
    bool absent = false;
    for (int i = 0; i != kLookUps / 20; ++i) times.push_back(TimeOf("NONE-1.0", absent));
    Print("an application that isn't installed: median", At(times, 500));
    desktop.Write(3, "/nowhere/at/all");
    bool gone = true;
    Print("right after an entry changed in place", TimeOf(Desktop::Id(3), gone));
    const bool isTrue = found && !absent && !gone;
    std::cout << "answers " << (isTrue ? "true" : "WRONG") << "; median "
              << (median < kBar ? "within " : "MISSED ") << kBar << " us\n";
    return isTrue && median < kBar ? 0 : 1;
}
