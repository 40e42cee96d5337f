#include "nuocore/VersionInfo.h"

#include "ProductIdentity.h"
#include "nuocore/StringConversion.h"

namespace nuocore::versioninfo {

std::string GetVardoVersionString() {
    return string::UTF8ToStdString(config::GetProductIdentity().mVersionString);
}

}  // namespace nuocore::versioninfo
