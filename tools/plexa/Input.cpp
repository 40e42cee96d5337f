#include "Input.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

#include "Failure.h"

namespace orvane::plexa::tool {

nuocore::UTF8String ReadInput() {
    nuocore::UTF8String text;
    std::array<char, std::size_t{64} * 1024> buffer{};
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (count == 0) return text;
        if (count < 0) {
            if (errno == EINTR) continue;
            throw Failure(kExitFailure, "cannot read the standard input: " +
                                            std::error_code(errno, std::system_category()).message());
        }
        text.append(buffer.data(), static_cast<std::size_t>(count));
        if (text.size() > kMaxInputBytes) {
            throw Failure(kExitFailure, "cannot take the standard input: it is larger than " +
                                            std::to_string(kMaxInputBytes >> 20U) + " MiB");
        }
    }
}

}  // namespace orvane::plexa::tool
