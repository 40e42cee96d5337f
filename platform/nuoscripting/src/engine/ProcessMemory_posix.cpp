#include <array>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "ProcessMemory.h"

namespace nuoscripting::engine {

std::size_t ResidentMemory() noexcept {
    const int file = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return 0;
    }
    std::array<char, 128> text{};
    const ssize_t size = ::read(file, text.data(), text.size() - 1);
    ::close(file);
    // In pages: the size of the address space, then what of it is there.
    const std::string_view fields(text.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::size_t blank = fields.find(' ');
    return blank == std::string_view::npos ? 0
                                           : std::strtoul(text.data() + blank, nullptr, 10) *
                                                 static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace nuoscripting::engine
