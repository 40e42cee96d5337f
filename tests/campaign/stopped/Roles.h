/// The roles of the campaign with a receiver that stands still: LEDGER NUMBER.
#pragma once

#include <span>

namespace campaign::stopped {

int RunSender(std::span<char* const> inWords);
int RunReceiver(std::span<char* const> inWords);
/// The role of the campaign about the return after a kill: BOARD NUMBER.
int RunReturning(std::span<char* const> inWords);

}  // namespace campaign::stopped
