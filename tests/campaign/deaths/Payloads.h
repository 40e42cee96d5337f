/// The payloads of the campaign: numbers.
#pragma once

#include <PlexaMessage5/PlexaMessage5.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace campaign::deaths {

/// A payload of at least inSize bytes that begins with a number.
std::string Numbered(std::uint64_t inNumber, std::size_t inSize);
std::uint64_t NumberOf(const orvane::plexa::api5::SuiteMessage& inMessage);

}  // namespace campaign::deaths
