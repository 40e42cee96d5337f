#include "nuoplexasupport/PushHooks.h"

namespace nuoplexasupport::push {

// Empty on purpose: credentials must not be kept.

void ClearTaviCredentials() {}

void PushNotificationReceived(const ImmutableString& /*inNotification*/) {}

void SetTaviAuthTokenFunction(const boost::function<void(const ImmutableString&)>& /*inFunction*/) {}

void SetTaviCredentials(const ImmutableString& /*inFirst*/, const ImmutableString& /*inSecond*/,
                        const ImmutableString& /*inThird*/, const ImmutableString& /*inFourth*/,
                        const ImmutableString& /*inFifth*/, bool /*inFlag*/) {}

}  // namespace nuoplexasupport::push
