/// What the campaign's processes read out of the message library's objects, and write into them.
#pragma once

#include <PlexaMessage5/PlexaMessage5.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace campaign::deaths {

std::string AppIdOf(const orvane::plexa::api5::EndPoint& inEndPoint);
std::string TypeOf(const orvane::plexa::api5::PlexaMessage& inMessage);
std::string ErrorOf(const orvane::plexa::api5::ErrorMessage& inMessage);
/// The dispatcher's list.
std::vector<orvane::plexa::api5::EndPoint> EndPoints(
    orvane::plexa::api5::IPlexaMessageDispatcher& ioDispatcher);

/// A payload of at least inSize bytes that begins with a number.
std::string Numbered(std::uint64_t inNumber, std::size_t inSize);
std::uint64_t NumberOf(const orvane::plexa::api5::SuiteMessage& inMessage);

}  // namespace campaign::deaths
