/// What else than the message library's own `Texts.h` the campaigns' processes read out of its objects.
#pragma once

#include <PlexaMessage5/PlexaMessage5.h>
#include <PlexaMessage5/Texts.h>

#include <string>
#include <vector>

namespace campaign {

std::string PayloadOf(const orvane::plexa::api5::SuiteMessage& inMessage);
std::string ErrorOf(const orvane::plexa::api5::ErrorMessage& inMessage);
std::string FaultOf(const orvane::plexa::api5::ErrorMessage& inMessage);
/// The dispatcher's list.
std::vector<orvane::plexa::api5::EndPoint> EndPoints(
    orvane::plexa::api5::IPlexaMessageDispatcher& ioDispatcher);

}  // namespace campaign
