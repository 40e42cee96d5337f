/// The processes of one measurement.
#pragma once

#include "Board.h"

namespace bench {

void RunBrokerRole(const Task& inTask, int inReady);
void RunReceiver(const Task& inTask, Board& ioBoard, std::size_t inNumber);
/// Sends to the one receiver, or to all when there are more.
void RunSender(const Task& inTask, Board& ioBoard);

}  // namespace bench
