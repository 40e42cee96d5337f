/// Names that payloads are made with. Initialised when the library is loaded, not before.
#pragma once

#include "nuoplexasupport/Export.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// "message": root tag of ordinary XML payloads.
NUOPLEXASUPPORT_API extern const UTF8String kXMLRootTagDefault_Message;
/// "request": root tag of XML payloads of requests.
NUOPLEXASUPPORT_API extern const UTF8String kXMLRootTagDefault_Request;
/// "__attributes__": key of the object that holds an XML element's attributes.
NUOPLEXASUPPORT_API extern const UTF8String kXMLToJSONKey_Attributes;

}  // namespace nuoplexasupport
