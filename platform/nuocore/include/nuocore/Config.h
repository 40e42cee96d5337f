/// What a host is: its product code and version. Set by the host, or else taken from the environment. Any
/// thread.
#pragma once

#include "nuocore/Strings.h"
#include "nuocore/export.h"

namespace nuocore::config {

/// The host's identity. Empty members fall back to the environment variables named beside them, which are
/// read once; it is a beta when either the member or the variable says so.
struct ProductConfig {
    UTF8String mSAPCode;        ///< product code, NUOCORE_SAP_CODE
    UTF8String mClientVersion;  ///< version under which the product speaks on the bus, NUOCORE_CLIENT_VERSION
    UTF8String
        mVersionString;    ///< version for people and for modules, NUOCORE_VERSION; else the client version
    bool mIsBeta = false;  ///< a beta's product code carries the suffix "BETA"; NUOCORE_BETA=1
};

/// Sets the identity of this process. Call it before the first use of a library that asks for it.
NUOCORE_API void SetProductConfig(const ProductConfig& inConfig);

/// Whether a non-empty product code is known.
[[nodiscard]] NUOCORE_API bool IsSAPCodeAvailable();
/// The product code; empty when none is known.
[[nodiscard]] NUOCORE_API UTF16String GetSAPCode();
/// The product code, for a beta with the suffix "BETA".
[[nodiscard]] NUOCORE_API UTF16String GetSAPCodeMaybeBeta();
/// The client version; empty when none is known.
[[nodiscard]] NUOCORE_API UTF16String GetClientVersion();

}  // namespace nuocore::config
