#include "Input.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <system_error>

#include "Failure.h"
#include "PayloadText.h"

namespace orvane::plexa::tool {

namespace {

[[noreturn]] void FailToRead(const std::string& inWhat, int inError) {
    throw Failure(kExitFailure, "cannot read " + inWhat + ": " +
                                    std::error_code(inError, std::system_category()).message());
}

nuocore::UTF8String ReadAll(int inDescriptor, const std::string& inWhat) {
    nuocore::UTF8String text;
    std::array<char, std::size_t{64} * 1024> buffer{};
    for (;;) {
        const ssize_t count = ::read(inDescriptor, buffer.data(), buffer.size());
        if (count == 0) return text;
        if (count < 0) {
            if (errno == EINTR) continue;
            FailToRead(inWhat, errno);
        }
        text.append(buffer.data(), static_cast<std::size_t>(count));
        if (text.size() > kMaxInputBytes) {
            throw Failure(kExitFailure, "cannot take " + inWhat + ": it is larger than " +
                                            std::to_string(kMaxInputBytes >> 20U) + " MiB");
        }
    }
}

}  // namespace

nuocore::UTF8String ReadInput() { return ReadAll(STDIN_FILENO, "the standard input"); }

nuocore::UTF8String ReadFile(const std::string& inPath) {
    const std::string what = "\"" + PlainLine(inPath) + "\"";
    const int file =
        ::open(inPath.c_str(), O_RDONLY | O_CLOEXEC);  // NOLINT(cppcoreguidelines-pro-type-vararg)
    if (file < 0) FailToRead(what, errno);
    const std::unique_ptr<const int, void (*)(const int*)> closing(
        &file, [](const int* inFile) { ::close(*inFile); });
    return ReadAll(file, what);
}

}  // namespace orvane::plexa::tool
