#include "support/Texts.h"

namespace campaign {

namespace api = orvane::plexa::api5;

namespace {

/// inBytes: with the terminator.
template <typename Fill>
std::string Filled(std::size_t inBytes, Fill inFill) {
    std::string text(inBytes, '\0');
    inFill(text.data());
    text.resize(inBytes - 1);
    return text;
}

}  // namespace

std::string AppIdOf(const api::EndPoint& inEndPoint) {
    return Filled(inEndPoint.GetAppIdSize(), [&](char* outText) { inEndPoint.GetAppId(outText); });
}

std::string TypeOf(const api::PlexaMessage& inMessage) {
    const std::string text =
        Filled(inMessage.GetMessageTextSize(), [&](char* outText) { inMessage.GetMessageText(outText); });
    const std::size_t begin = text.find("<type>") + 6;
    return text.substr(begin, text.find("</type>") - begin);
}

std::string PayloadOf(const api::SuiteMessage& inMessage) {
    return Filled(inMessage.GetPayloadSize(), [&](char* outText) { inMessage.GetPayload(outText); });
}

std::string ErrorOf(const api::ErrorMessage& inMessage) {
    return Filled(inMessage.GetErrorSize(), [&](char* outText) { inMessage.GetError(outText); });
}

std::string FaultOf(const api::ErrorMessage& inMessage) {
    return Filled(inMessage.GetFaultSize(), [&](char* outText) { inMessage.GetFault(outText); });
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
