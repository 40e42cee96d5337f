#include "transport/EnvelopeCache.h"

#include <boost/property_tree/xml_parser.hpp>
#include <functional>
#include <locale>
#include <sstream>

namespace nuoplexasupport {

namespace {

std::shared_ptr<const ParsedEnvelope> ParseText(const std::string& inText) {
    auto envelope = std::make_shared<ParsedEnvelope>();
    std::istringstream stream(inText);
    stream.imbue(std::locale::classic());
    boost::property_tree::read_xml(stream, envelope->mTree);
    envelope->mType = envelope->mTree.get<std::string>("message.type", std::string());
    return envelope;
}

}  // namespace

std::shared_ptr<const ParsedEnvelope> EnvelopeCache::Parse(const std::string& inText) {
    if (inText.size() > kMaxTextBytes) {
        return ParseText(inText);
    }
    Place& place = mPlaces[std::hash<std::string>()(inText) % kPlaces];
    if (!place.mEnvelope || place.mText != inText) {
        place.mEnvelope = nullptr;
        place.mText = inText;
        place.mEnvelope = ParseText(inText);
    }
    return place.mEnvelope;
}

}  // namespace nuoplexasupport
