/// The XML text that every message has.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include <boost/unordered/unordered_flat_map.hpp>

#include "PlexaMessage5/EndPoint.h"

namespace orvane::plexa::message5 {

/// An end point's app id.
std::string AppIdOf(const api5::EndPoint& inEndPoint);

/// Root "message" with the children "type" and, if there is a source, "source" (its app id). Both texts may
/// come from anywhere: whatever they hold stays text, and what XML can't carry becomes U+FFFD. Any thread.
std::string EnvelopeText(std::string_view inType, const api5::EndPoint& inSource);

/// Envelopes made before. Bounded: a flood of types makes it start afresh. One thread.
class EnvelopeCache {
  public:
    std::shared_ptr<const std::string> Get(std::string_view inType, const api5::EndPoint& inSource);

  private:
    static constexpr std::size_t kMost = 256;
    static constexpr std::size_t kLongestKept = 2048;  // longer ones are made each time

    boost::unordered_flat_map<std::string, std::shared_ptr<const std::string>> mEnvelopes;
    std::string mKey;  // kept for its memory
};

}  // namespace orvane::plexa::message5
