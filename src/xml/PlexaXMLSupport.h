/// Payload XML from and into variant dictionaries. No function keeps state; any thread.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include "nuocore/Strings.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

struct ComApartment;

/// Reads payload XML. The root element stands for the whole dictionary; an element without children and
/// attributes becomes a string, any other a dictionary, with its attributes under `kXMLToJSONKey_Attributes`.
/// Content that has no place in a dictionary raises an assertion and is dropped. The result holds a
/// `VariantObject`. Throws what the core parser throws when the text isn't acceptable XML.
boost::shared_ptr<VariantValue> ParsePlexaXMLPayload(const UTF8String& inXML);

/// The same with the apartment operations handed in.
boost::shared_ptr<VariantValue> ParsePlexaXMLPayload(const UTF8String& inXML,
                                                     const ComApartment& inApartment);

/// Writes a value as an XML document with the given root tag. Kinds without an XML form (numbers, arrays,
/// foreign types) raise an assertion and give an error marker. Throws `boost::bad_any_cast` when the value
/// under `kXMLToJSONKey_Attributes` is no object.
UTF8String CreateXMLPayload(const VariantValue& inValue, const UTF8String& inRootTag);

/// Writes one element.
void WriteXMLElement(const UTF8String& inTag, const VariantValue& inValue,
                     nuocore::oUTF8StringStream& ioStream);
/// Writes what stands between an element's tags.
void GetXMLUTF8String(const VariantValue& inValue, nuocore::oUTF8StringStream& ioStream);
/// Writes a NUL-terminated text with the five predefined entities in place.
void WriteXMLEscaped(const char* inText, nuocore::oUTF8StringStream& ioStream);

}  // namespace nuoplexasupport
