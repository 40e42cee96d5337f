#include "support/Texts.h"

namespace campaign {

namespace api = orvane::plexa::api5;

std::string PayloadOf(const api::SuiteMessage& inMessage) {
    return api::TextOf(inMessage, &api::SuiteMessage::GetPayloadSize, &api::SuiteMessage::GetPayload);
}

std::string ErrorOf(const api::ErrorMessage& inMessage) {
    return api::TextOf(inMessage, &api::ErrorMessage::GetErrorSize, &api::ErrorMessage::GetError);
}

std::string FaultOf(const api::ErrorMessage& inMessage) {
    return api::TextOf(inMessage, &api::ErrorMessage::GetFaultSize, &api::ErrorMessage::GetFault);
}

std::vector<api::EndPoint> EndPoints(api::IPlexaMessageDispatcher& ioDispatcher) {
    api::EndPoint* list = nullptr;
    std::size_t count = 0;
    ioDispatcher.GetEndPointList(&list, &count);
    if (list == nullptr) return {};
    std::vector<api::EndPoint> endPoints(list, list + count);
    ioDispatcher.ReleaseEndPointList(list);
    return endPoints;
}

}  // namespace campaign
