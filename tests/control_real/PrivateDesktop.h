/// A desktop of a test's own: folders with desktop entries, and programs that the entries start.
#pragma once

#include <sys/resource.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Application.h"

namespace orvane::plexa::control {

class PrivateDesktop {
  public:
    PrivateDesktop();
    PrivateDesktop(const PrivateDesktop&) = delete;
    PrivateDesktop& operator=(const PrivateDesktop&) = delete;
    /// Ends what still runs of its programs, and removes everything.
    ~PrivateDesktop();

    [[nodiscard]] const std::filesystem::path& Folder() const { return mFolder; }
    /// The user's data folder and the system's.
    [[nodiscard]] std::vector<std::string> DataFolders() const;
    /// The path of an entry in the user's folder, or in the system's.
    [[nodiscard]] std::filesystem::path EntryPath(const std::string& inName, bool inSystem = false) const;

    /// Writes an entry in place.
    std::filesystem::path WriteEntry(const std::string& inName, const std::string& inAppId,
                                     const std::string& inExec, const std::string& inMore = {},
                                     bool inSystem = false) const;
    /// Makes a script that can be run.
    std::filesystem::path MakeScript(const std::string& inName, const std::string& inText) const;
    /// Makes a program of its own that sleeps as long as its argument says.
    std::filesystem::path MakeSleeper(const std::string& inName) const;

    /// The application that an entry file describes; the entry must be one.
    static Application Read(const std::filesystem::path& inEntry);

  private:
    std::filesystem::path mFolder;
};

/// As long as it lives this process can open nothing.
class NoDescriptors {
  public:
    NoDescriptors();
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;
    ~NoDescriptors();

  private:
    rlimit mBefore{};
};

void WriteFile(const std::filesystem::path& inPath, std::string_view inText);
std::string ReadFile(const std::filesystem::path& inPath);

/// Waits until inCondition holds; false when it doesn't come to that.
bool Await(const std::function<bool()>& inCondition);

}  // namespace orvane::plexa::control
