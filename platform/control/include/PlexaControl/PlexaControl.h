/// Everything that the control library offers.
#pragma once

#include "PlexaControl/Controller.h"
#include "PlexaControl/ErrorCode.h"
