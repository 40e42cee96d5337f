#include "TemporaryDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

TemporaryDirectory::TemporaryDirectory() {
    // Short, because a socket's address has little room.
    std::string path = "/tmp/plexa-test-XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::system_category(), "cannot make a temporary directory");
    }
    mPath = path;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}
