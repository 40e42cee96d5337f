/// A folder of a test's own, removed at its end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace zarnd_test {

class ScratchFolder {
  public:
    ScratchFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zarnd-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a folder");
        mPath = pattern;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }

    [[nodiscard]] const std::filesystem::path& Path() const noexcept { return mPath; }

  private:
    std::filesystem::path mPath;
};

inline void Write(const std::filesystem::path& inPath, const std::string& inText) {
    std::filesystem::create_directories(inPath.parent_path());
    std::ofstream(inPath, std::ios::binary) << inText;
}

inline std::string Read(const std::filesystem::path& inPath) {
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace zarnd_test
