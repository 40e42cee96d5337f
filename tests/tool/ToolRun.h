/// Running the tool from a test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/PrivateBus.h"

namespace tool_test {

/// Arguments of the tool as a command on a bus.
support::Command Plexa(const support::PrivateBus& inBus, std::vector<std::string> inArguments,
                       std::string inInput = {});

/// A bus for each test.
class OnBus : public testing::Test {
  protected:
    [[nodiscard]] support::Command Command(std::vector<std::string> inArguments,
                                           std::string inInput = {}) const {
        return Plexa(mBus, std::move(inArguments), std::move(inInput));
    }
    [[nodiscard]] support::Finished Run(std::vector<std::string> inArguments,
                                        std::string inInput = {}) const {
        return support::Run(Command(std::move(inArguments), std::move(inInput)));
    }

    support::PrivateBus mBus;
};

}  // namespace tool_test
