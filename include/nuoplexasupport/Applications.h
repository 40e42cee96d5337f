/// The applications that are installed on this desktop. Any thread; needs neither `Startup` nor the broker.
///
/// An application is known by its app id, which is also the app id of its end points: a listed application
/// can be the target of `SendPlexaMessage`. None of these functions says why it failed. They throw nothing
/// but `std::bad_alloc`.
#pragma once

#include <string>
#include <vector>

#include "nuocore/allocator.h"
#include "nuoplexasupport/Export.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// App ids.
using TargetSpecifiers = std::vector<std::string, nuocore::allocator::STLAllocator<std::string>>;

/// The absolute path of an application's program; empty when it isn't installed.
NUOPLEXASUPPORT_API UTF16String GetInstalledAppPath(const std::string& inAppId);

/// The id of the process that runs an application for this user; 0 when none does.
NUOPLEXASUPPORT_API int GetProcessIdEx(const char* inAppId);

/// Replaces the contents of outSpecifiers by the app ids of all installed applications, in the control
/// library's order.
NUOPLEXASUPPORT_API void GetTargetSpecifiers(TargetSpecifiers& outSpecifiers);

NUOPLEXASUPPORT_API bool IsAppInstalled(const std::string& inAppId);
/// The same for a text that ends with a zero.
NUOPLEXASUPPORT_API bool IsAppInstalledEx(const char* inAppId);

/// Starts an application; false when that can't be done. The meaning of flag and text is the control
/// library's; of the one that comes with this library: the flag asks for a new process though one runs
/// already, the text holds arguments, quoted as for a shell (`IPlexaController::LaunchApp`).
NUOPLEXASUPPORT_API bool LaunchAppEx(const char* inAppId, bool inFlag, const std::string& inText);

}  // namespace nuoplexasupport
