/// The message library: one connection to the user's message broker.
#pragma once

#include "PlexaMessage5/BrokerStatus.h"
#include "PlexaMessage5/Dispatcher.h"
#include "PlexaMessage5/EndPoint.h"
#include "PlexaMessage5/ErrorCode.h"
#include "PlexaMessage5/Interest.h"
#include "PlexaMessage5/Message.h"
