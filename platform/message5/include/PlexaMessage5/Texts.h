/// Texts of messages and end points, for those who listen at the message library themselves. Any thread.
#pragma once

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <cstddef>
#include <locale>
#include <sstream>
#include <string>

#include "PlexaMessage5/EndPoint.h"
#include "PlexaMessage5/Message.h"

namespace orvane::plexa::api5 {

/// A text that is given by a size query and a copy.
template <typename T>
std::string TextOf(const T& inFrom, std::size_t (T::*inSize)() const, void (T::*inCopy)(char*) const) {
    std::string text((inFrom.*inSize)() + 1, '\0');
    (inFrom.*inCopy)(text.data());
    text.resize(text.find('\0'));
    return text;
}

inline std::string AppIdOf(const EndPoint& inEndPoint) {
    return TextOf(inEndPoint, &EndPoint::GetAppIdSize, &EndPoint::GetAppId);
}

/// The type in a message's envelope; empty when there is none. Throws
/// `boost::property_tree::xml_parser_error` for an envelope that can't be read.
inline std::string TypeOf(const PlexaMessage& inMessage) {
    std::istringstream envelope(
        TextOf(inMessage, &PlexaMessage::GetMessageTextSize, &PlexaMessage::GetMessageText));
    envelope.imbue(std::locale::classic());
    boost::property_tree::ptree tree;
    boost::property_tree::read_xml(envelope, tree);
    return tree.get<std::string>("message.type", std::string());
}

}  // namespace orvane::plexa::api5
