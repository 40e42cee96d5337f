/// Payload texts from and into dictionaries, and values as JSON for people and programs. No I/O.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "nuocore/Strings.h"
#include "nuocore/Variant.h"

namespace orvane::plexa::tool {

enum class PayloadFormat { kXML, kJSON };

/// The format that the first byte after white space names; nothing for a text of neither format.
std::optional<PayloadFormat> FormatOf(std::string_view inPayload);

/// The dictionary that a payload stands for. Assertions of the codec go to the installed handler. Throws
/// `Failure` with the reason when it can't be decoded, which is also so when its root is no object.
nuocore::serialization::VariantObject DecodePayload(const nuocore::UTF8String& inPayload,
                                                    PayloadFormat inFormat);

/// The payload text of a dictionary. The root tag counts for XML only. Assertions of the codec go to the
/// installed handler: kinds without an XML form give error markers. Throws `Failure` when the dictionary
/// can't be written so that it can be read.
nuocore::UTF8String EncodePayload(const nuocore::serialization::VariantObject& inDictionary,
                                  PayloadFormat inFormat, const nuocore::UTF8String& inRootTag);

/// The JSON object in `inText`. `inWhat` names the text in the `Failure` that is thrown when there is none.
nuocore::serialization::VariantObject ParseObject(std::string_view inText, const std::string& inWhat);

/// A value as JSON on one line, in which nothing can steer a terminal. Throws as `GetJSONUTF8String`.
std::string JSONLine(const nuocore::serialization::VariantValue& inValue);

/// A text with the same escapes, but for quotation marks, of which it has its own only.
std::string PlainLine(std::string_view inText);

}  // namespace orvane::plexa::tool
