/// The roles of the campaign with a receiver that stands still: LEDGER NUMBER.
#pragma once

#include <span>

namespace campaign::stopped {

int RunSender(std::span<char* const> inWords);
int RunReceiver(std::span<char* const> inWords);

}  // namespace campaign::stopped
