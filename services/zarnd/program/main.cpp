#include <cstdlib>
#include <iostream>
#include <span>

#include "program/Program.h"
#include "wire/InheritedDescriptors.h"

int main(int inCount, char** inArguments) {
    using namespace orvane::plexa::zarnd;
    orvane::plexa::wire::CloseInheritedDescriptors({});
    const auto environment = [](const char* inName) {
        const char* const value = std::getenv(inName);  // NOLINT(concurrency-mt-unsafe): no other threads yet
        return std::string(value != nullptr ? value : "");
    };
    const ParsedOptions parsed =
        ParseOptions({inArguments, static_cast<std::size_t>(inCount)}, environment, std::cout, std::cerr);
    return parsed.mOptions ? RunProgram(*parsed.mOptions) : parsed.mExitCode;
}
