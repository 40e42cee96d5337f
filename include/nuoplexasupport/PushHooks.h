/// Hooks for products that bring a push service of their own. In this library they do nothing: they neither
/// keep what they are given nor call anything. Any thread.
#pragma once

#include <boost/function.hpp>

#include "nuoplexasupport/Export.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport::push {

/// Forgets the credentials.
NUOPLEXASUPPORT_API void ClearTaviCredentials();

/// A notification has come in by another way.
NUOPLEXASUPPORT_API void PushNotificationReceived(const ImmutableString& inNotification);

/// Names the function that takes authentication tokens.
NUOPLEXASUPPORT_API void SetTaviAuthTokenFunction(
    const boost::function<void(const ImmutableString&)>& inFunction);

/// Hands over the credentials of a user.
NUOPLEXASUPPORT_API void SetTaviCredentials(const ImmutableString& inFirst, const ImmutableString& inSecond,
                                            const ImmutableString& inThird, const ImmutableString& inFourth,
                                            const ImmutableString& inFifth, bool inFlag);

}  // namespace nuoplexasupport::push
