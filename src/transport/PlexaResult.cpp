#include "transport/PlexaResult.h"

namespace nuoplexasupport {

namespace api = orvane::plexa::api5;

const char* PlexaResultText(api::PlexaMessageErrorCode inCode) noexcept {
    switch (inCode) {
        case api::kPlexaMessageErrorCode_None:
        case api::kPlexaMessageErrorCode_AlreadyDone:
            return "";
        case api::kPlexaMessageErrorCode_NotConfigured:
            return "[plexa] Message error: Not configured";
        case api::kPlexaMessageErrorCode_InvalidParameter:
            return "[plexa] Message error: Invalid parameter";
        case api::kPlexaMessageErrorCode_BrokerUpdateInProgress:
            return "[plexa] Message error: OrvaneIPCBroker update in progress";
        case api::kPlexaMessageErrorCode_BrokerProcessDoesNotExist:
            return "[plexa] Message error: OrvaneIPCBroker process does not exist";
        case api::kPlexaMessageErrorCode_BrokerFileDoesNotExist:
            return "[plexa] Message error: OrvaneIPCBroker file does not exist";
        case api::kPlexaMessageErrorCode_Unknown:
            return "[plexa] Message error: Unknown";
    }
    return "[plexa] Message error: Unrecognized code";
}

}  // namespace nuoplexasupport
