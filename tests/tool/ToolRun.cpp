#include "ToolRun.h"

#include <utility>

namespace tool_test {

support::Command Plexa(const support::PrivateBus& inBus, std::vector<std::string> inArguments,
                       std::string inInput) {
    support::Command command;
    command.mArguments = std::move(inArguments);
    command.mArguments.insert(command.mArguments.begin(), PLEXA_PROGRAM);
    command.mEnvironment = inBus.Environment(BROKER_BASE);
    command.mInput = std::move(inInput);
    return command;
}

}  // namespace tool_test
