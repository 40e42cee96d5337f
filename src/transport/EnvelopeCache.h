/// Remembers parsed envelopes.
#pragma once

#include <array>
#include <boost/property_tree/ptree.hpp>
#include <memory>
#include <string>

namespace nuoplexasupport {

/// A received message's own text, parsed.
struct ParsedEnvelope {
    boost::property_tree::ptree mTree;
    std::string mType;  ///< value at "message.type"; empty when there is none
};

/// The text of an envelope depends on sender and type only, so the same few texts arrive again and again. The
/// last ones are kept, in a fixed number of places. Thread rule: one thread.
class EnvelopeCache {
  public:
    /// The parse of `inText`. Throws `boost::property_tree::xml_parser_error` when it is no well-formed XML.
    std::shared_ptr<const ParsedEnvelope> Parse(const std::string& inText);

  private:
    static constexpr std::size_t kPlaces = 64;
    static constexpr std::size_t kMaxTextBytes = 4096;  // longer texts are parsed each time

    struct Place {
        std::string mText;
        std::shared_ptr<const ParsedEnvelope> mEnvelope;
    };
    std::array<Place, kPlaces> mPlaces;
};

}  // namespace nuoplexasupport
