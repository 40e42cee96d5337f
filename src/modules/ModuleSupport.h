/// What module requests and install events say. No function keeps state; any thread.
#pragma once

#include <string_view>

#include "nuoplexasupport/Types.h"

namespace nuoplexasupport::modules {

/// The payload of a request for one module, but for the request id.
VariantObject CreateModuleDownloadPayload(const ImmutableString& inModuleId, bool inSilentMode);

/// The result code that an error event stands for. Throws `boost::bad_any_cast` when it holds something else
/// where an object or a text belongs; so does the next.
int ExtractResultFromPlexaErrorMessage(const VariantObject& inMessage);

/// The share that a progress event says is done, not clamped; 0 when it says nothing.
float ExtractValueFromPlexaProgressMessage(const VariantObject& inMessage);

/// The text under a key; empty when there is no such key. Throws `boost::bad_any_cast` when it is no text.
UTF8String ExtractTextIfPresent(const VariantObject& inObject, std::string_view inKey);

}  // namespace nuoplexasupport::modules
