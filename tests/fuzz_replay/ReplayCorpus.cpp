// Hands each file of a corpus to a fuzzer's function, each also cut short in the middle. A breach aborts the
// process; a corpus without files is an error, so that a wrong path isn't taken for success.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize);

namespace {

std::size_t ReplayFolder(const std::filesystem::path& inFolder) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(inFolder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        std::printf("%s\n", entry.path().filename().c_str());
        std::fflush(stdout);
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(input.data());
        LLVMFuzzerTestOneInput(bytes, input.size());
        LLVMFuzzerTestOneInput(bytes, input.size() / 2);
        ++count;
    }
    return count;
}

}  // namespace

int main(int inCount, char** inArguments) {
    if (inCount != 2) {
        std::fputs("usage: replay_NAME CORPUS_FOLDER\n", stderr);
        return 2;
    }
    try {
        if (ReplayFolder(inArguments[1]) == 0) {
            std::fprintf(stderr, "no inputs in %s\n", inArguments[1]);
            return 1;
        }
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return 1;
    }
    return 0;
}
