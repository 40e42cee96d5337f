#include "nuoplexasupport/Constants.h"

namespace nuoplexasupport {

const UTF8String kXMLRootTagDefault_Message = "message";
const UTF8String kXMLRootTagDefault_Request = "request";
const UTF8String kXMLToJSONKey_Attributes = "__attributes__";

}  // namespace nuoplexasupport
