#include "nuocore/Config.h"

#include "ProductIdentity.h"
#include "nuocore/StringConversion.h"

namespace nuocore::config {

bool IsSAPCodeAvailable() { return !GetProductIdentity().mSAPCode.empty(); }

UTF16String GetSAPCode() { return string::UTF8to16(GetProductIdentity().mSAPCode); }

UTF16String GetSAPCodeMaybeBeta() {
    const ProductConfig identity = GetProductIdentity();
    UTF16String code = string::UTF8to16(identity.mSAPCode);
    if (identity.mIsBeta && !code.empty()) {
        code += u"BETA";
    }
    return code;
}

UTF16String GetClientVersion() { return string::UTF8to16(GetProductIdentity().mClientVersion); }

}  // namespace nuocore::config
