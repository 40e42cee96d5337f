#include "fetch/LocalFile.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>
#include <vector>

#include "common/Failure.h"
#include "wire/FileDescriptor.h"

namespace orvane::plexa::zarnd {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} << 10U;

std::string PathOf(const std::string& inAddress) {
    const std::unique_ptr<CURLU, decltype(&::curl_url_cleanup)> address(::curl_url(), &::curl_url_cleanup);
    char* text = nullptr;
    if (!address || ::curl_url_set(address.get(), CURLUPART_URL, inAddress.c_str(), 0) != CURLUE_OK ||
        ::curl_url_get(address.get(), CURLUPART_PATH, &text, CURLU_URLDECODE) != CURLUE_OK) {
        throw Failure(ErrorCode::kRefused, inAddress + " is no address of a file");
    }
    const std::unique_ptr<char, decltype(&::curl_free)> path(text, &::curl_free);
    return path.get();
}

[[noreturn]] void Refuse(const std::string& inPath, int inError) {
    throw Failure(ErrorCode::kRefused,
                  "cannot read " + inPath + ": " + std::system_category().message(inError));
}

[[noreturn]] void RefuseSize(const std::string& inPath, std::uint64_t inSize) {
    throw Failure(ErrorCode::kOtherSize,
                  inPath + " has not the " + std::to_string(inSize) + " bytes promised");
}

// Never waits for another process, as opening a pipe would.
wire::FileDescriptor Open(const std::string& inPath, std::uint64_t inSize) {
    wire::FileDescriptor file(::open(inPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.Get(), &status) != 0) Refuse(inPath, errno);
    if (!S_ISREG(status.st_mode)) throw Failure(ErrorCode::kRefused, inPath + " is no regular file");
    if (static_cast<std::uint64_t>(status.st_size) != inSize) RefuseSize(inPath, inSize);
    return file;
}

}  // namespace

void ReadLocalFile(const std::string& inAddress, std::uint64_t inSize, IByteSink& ioSink,
                   const std::stop_token& inStop) {
    const std::string path = PathOf(inAddress);
    const wire::FileDescriptor file = Open(path, inSize);
    std::vector<std::byte> buffer(kBufferBytes);
    ioSink.Begin();
    // Whoever writes to it meanwhile may have made it longer or shorter.
    for (std::uint64_t left = inSize;;) {
        CheckStop(inStop);
        const ssize_t count = ::read(file.Get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) Refuse(path, errno);
        const auto size = static_cast<std::uint64_t>(count);
        if (size > left || (size == 0 && left > 0)) RefuseSize(path, inSize);
        if (size == 0) return;
        ioSink.Take(std::span(buffer).first(size));
        left -= size;
    }
}

}  // namespace orvane::plexa::zarnd
