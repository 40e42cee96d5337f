/// Everything that this library offers to a host.
#pragma once

#include "nuoplexasupport/Applications.h"
#include "nuoplexasupport/Constants.h"
#include "nuoplexasupport/IPlexaClient.h"
#include "nuoplexasupport/Messaging.h"
#include "nuoplexasupport/ModuleDownload.h"
#include "nuoplexasupport/Notifications.h"
#include "nuoplexasupport/PushHooks.h"
#include "nuoplexasupport/Types.h"
