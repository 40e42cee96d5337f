#include "SmallFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "FileState.h"

namespace orvane::plexa::control {

namespace {

class OpenFile {
  public:
    explicit OpenFile(const std::string& inPath)
        : mPath(inPath), mDescriptor(::open(inPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
        if (mDescriptor < 0) ThrowUnlessLasting(errno, mPath);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (mDescriptor >= 0) ::close(mDescriptor);
    }
    [[nodiscard]] bool IsRegular() const {
        struct stat status {};
        return mDescriptor >= 0 && ::fstat(mDescriptor, &status) == 0 && S_ISREG(status.st_mode);
    }
    // Bytes read, 0 at the end, -1 upon an error.
    [[nodiscard]] ssize_t Read(char* outBytes, std::size_t inSize) const {
        for (;;) {
            const ssize_t count = ::read(mDescriptor, outBytes, inSize);
            if (count >= 0) return count;
            if (errno != EINTR) {
                ThrowUnlessLasting(errno, mPath);
                return -1;
            }
        }
    }

  private:
    const std::string& mPath;
    int mDescriptor;
};

}  // namespace

std::optional<std::string> ReadSmallFile(const std::string& inPath, std::size_t inLargest) {
    const OpenFile file(inPath);
    if (!file.IsRegular()) return std::nullopt;
    std::string bytes;
    std::array<char, 16384> part{};
    for (;;) {
        const ssize_t count = file.Read(part.data(), part.size());
        if (count < 0) return std::nullopt;
        if (count == 0) return bytes;
        bytes.append(part.data(), static_cast<std::size_t>(count));
        // Files of the system that describe processes tell no size beforehand.
        if (bytes.size() > inLargest) return std::nullopt;
    }
}

std::string ReadBeginning(const std::string& inPath, std::size_t inCount) {
    const OpenFile file(inPath);
    std::string bytes(inCount, '\0');
    const ssize_t count = file.IsRegular() ? file.Read(bytes.data(), bytes.size()) : 0;
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

}  // namespace orvane::plexa::control
