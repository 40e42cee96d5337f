#include "PlexaMessage5/EndPoint.h"

#include <cstring>

namespace orvane::plexa::api5 {

const EndPoint EndPoint::INVALID_ENDPOINT;

EndPoint::EndPoint() = default;

EndPoint::EndPoint(const char* inAppId, std::uint64_t inInstance, std::int32_t inProcessId)
    : mAppId(inAppId == nullptr ? "" : inAppId), mInstance(inInstance), mProcessId(inProcessId) {}

EndPoint::EndPoint(const EndPoint& inOther) = default;
EndPoint& EndPoint::operator=(const EndPoint& inOther) = default;
EndPoint::~EndPoint() = default;

// Made from a NUL-terminated text, the app id contains no NUL.
std::size_t EndPoint::GetAppIdSize() const { return mAppId.size() + 1; }
void EndPoint::GetAppId(char* outBuffer) const { std::memcpy(outBuffer, mAppId.c_str(), mAppId.size() + 1); }

std::uint64_t EndPoint::GetInstance() const { return mInstance; }
std::int32_t EndPoint::GetProcessId() const { return mProcessId; }

bool EndPoint::operator==(const EndPoint& inOther) const {
    if (mAppId.empty() || inOther.mAppId.empty()) {
        return mAppId.empty() && inOther.mAppId.empty();
    }
    return mInstance == inOther.mInstance && mProcessId == inOther.mProcessId && mAppId == inOther.mAppId;
}

bool EndPoint::operator!=(const EndPoint& inOther) const { return !(*this == inOther); }

}  // namespace orvane::plexa::api5
