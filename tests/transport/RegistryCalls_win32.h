/// Watches how this program's own code uses the system's registry. The calls go on to the system.
#pragma once

#include <windows.h>

#include <string>

namespace transport_test {

/// What has been asked since the process began.
struct RegistryCalls {
    HKEY mRoot = nullptr;  ///< of the last opening, like the next two
    std::wstring mKey;
    REGSAM mAccess = 0;
    DWORD mAskedBytes = 0;  ///< of the last query: what the buffer was said to hold
    int mOpened = 0;        ///< keys that were opened with success
    int mClosed = 0;        ///< keys of those that were closed
};

const RegistryCalls& SeenRegistryCalls();

}  // namespace transport_test
