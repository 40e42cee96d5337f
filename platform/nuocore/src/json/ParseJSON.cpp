#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <string>

#include "VariantBuilder.h"
#include "nuocore/JSON.h"

namespace nuocore::serialization {

namespace {

/// Values are built and destroyed by recursion, so no caller may ask for a depth that a thread's stack can't
/// take.
constexpr std::size_t kGreatestDepth = 512;

[[noreturn]] void Fail(const std::string& inReason, std::size_t inPlace) {
    throw JSONError("Cannot read JSON: " + inReason + " at byte " + std::to_string(inPlace));
}

}  // namespace

JSONError::~JSONError() = default;

VariantValuePtr ParseJSON(std::string_view inText, const JSONLimits& inLimits) {
    if (inText.size() > inLimits.mMaxBytes) {
        Fail("more than " + std::to_string(inLimits.mMaxBytes) + " bytes", inLimits.mMaxBytes);
    }
    boost::json::parse_options options;
    options.max_depth = std::min(inLimits.mMaxDepth, kGreatestDepth);
    boost::json::basic_parser<VariantBuilder> parser(options, inLimits.mMaxValues);
    boost::json::error_code error;
    const std::size_t taken = parser.write_some(false, inText.data(), inText.size(), error);
    if (error) {
        const char* const refusal = parser.handler().Refusal();
        Fail(refusal != nullptr ? refusal : error.message(), taken);
    }
    if (taken != inText.size()) {
        Fail("something stands behind the value", taken);
    }
    return parser.handler().TakeRoot();
}

}  // namespace nuocore::serialization
