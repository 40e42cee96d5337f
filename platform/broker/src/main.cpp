#include <iostream>
#include <span>

#include "Broker.h"
#include "Options.h"

int main(int inCount, char** inArguments) {
    using namespace orvane::plexa::broker;
    const ParsedOptions parsed =
        ParseOptions({inArguments, static_cast<std::size_t>(inCount)}, std::cout, std::cerr);
    return parsed.options ? RunBroker(*parsed.options) : parsed.exitCode;
}
