/// A module that it takes hours to check.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "install/FileList.h"
#include "install/ModuleStore.h"
#include "support/Archives.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

inline constexpr std::uintmax_t kHours = std::uintmax_t{1} << 43U;  ///< bytes that they take to be read

/// Installs a module of the product "QRTX" with one file: so many zeros, with the digest of none.
inline void InstallZeros(const orvane::plexa::zarnd::ModuleStore& inStore, const std::string& inModule,
                         const std::string& inVersion, const std::string& inFile, std::uintmax_t inSize) {
    using namespace orvane::plexa::zarnd;
    StagedModule staged = inStore.Stage("QRTX", inModule);
    Write(staged.Files() / inFile, "");
    std::filesystem::resize_file(staged.Files() / inFile, inSize);
    FileListWriter list(staged.List());
    list.Add({inFile, inSize, DigestOf(""), false, {}});
    ModuleStore::Complete(staged, {"QRTX", inModule, inVersion, DigestOf(inVersion), {}, {}, list.Finish()});
    inStore.Switch(std::move(staged), "QRTX", inModule);
}

/// Waits until this process has so many descriptors of files with a name.
inline void AwaitOpen(const std::string& inName, int inCount) {
    namespace fs = std::filesystem;
    const auto count = [&] {
        int found = 0;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (fs::read_symlink(entry.path(), gone).filename() == inName) ++found;
        }
        return found;
    };
    const auto until = std::chrono::steady_clock::now() + support::kPatience;
    while (count() < inCount) ASSERT_LT(std::chrono::steady_clock::now(), until) << inName;
}

}  // namespace zarnd_test
