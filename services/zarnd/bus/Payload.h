/// Payloads of questions, as flat as this service needs them, and of what it says. No I/O.
#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "deployment/Types.h"

namespace orvane::plexa::zarnd {

/// A payload that is neither XML nor a JSON object, or beyond its limits.
class PayloadError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The texts of a payload by their path below the root, such as "modules/module-id". Of XML the attributes
/// are left out; of JSON what is neither object nor text nor true or false.
using PayloadTexts = std::map<std::string, std::string>;

/// Throws `PayloadError`.
PayloadTexts ReadPayload(std::string_view inText);

/// The text at a path; empty when there is none.
std::string TextAt(const PayloadTexts& inTexts, const char* inPath);
/// The module that a question is about, as far as it says so.
ModuleKey ModuleOf(const PayloadTexts& inTexts);

/// The request id of a question, and the key under which it came.
struct RequestId {
    std::string mKey;
    std::string mId;
};
std::optional<RequestId> RequestIdOf(const PayloadTexts& inTexts);
/// A payload with nothing but the request id of one that is too long; nothing when that can't be read.
std::optional<std::string> OnlyRequestId(std::string_view inText);
/// A payload with nothing but the module that a request that is too long wants installed; nothing when that
/// can't be read.
std::optional<std::string> OnlyModule(std::string_view inText);

/// An event's payload: XML with the root "message", every leaf a text.
std::string WriteEvent(const DeploymentEvent& inEvent);

}  // namespace orvane::plexa::zarnd
