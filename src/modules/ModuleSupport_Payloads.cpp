#include <cstdint>
#include <string>

#include "modules/ModuleSupport.h"
#include "nuocore/Config.h"
#include "nuocore/Exception.h"
#include "nuocore/JSON.h"
#include "nuocore/Numbers.h"
#include "nuocore/StringConversion.h"
#include "nuocore/Trace.h"
#include "nuocore/Variant.h"
#include "nuocore/VersionInfo.h"
#include "nuoplexasupport/ModuleDownload.h"

namespace nuoplexasupport::modules {

using nuocore::serialization::AddToObject;
using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::ExtractTextFromObject;
using nuocore::serialization::ObjectHasProperty;

namespace {

VariantObject ExtractObjectIfPresent(const VariantObject& inObject, std::string_view inKey) {
    return ObjectHasProperty(inObject, inKey, false)
               ? ExtractPropertyFromObject<VariantObject>(inObject, inKey)
               : VariantObject();
}

void TraceError(const VariantObject& inMessage) {
    static nuocore::debug::TraceSwitch sTrace("ModuleDownload", 0);
    if (sTrace.IsEnabled()) {
        UTF8String line("Module download error: ");
        line += nuocore::string::UTF16to8(nuocore::serialization::GetJSONString(inMessage, false));
        sTrace.Trace(line += "\r\n");
    }
}

}  // namespace

UTF8String ExtractTextIfPresent(const VariantObject& inObject, std::string_view inKey) {
    return ObjectHasProperty(inObject, inKey, false) ? ExtractTextFromObject(inObject, inKey) : UTF8String();
}

VariantObject CreateModuleDownloadPayload(const ImmutableString& inModuleId, bool inSilentMode) {
    boost::any payload = VariantObject();
    boost::any modules = VariantObject();
    AddToObject(modules, "module-id", inModuleId, false);
    AddToObject(payload, "product-sapcode", nuocore::config::GetSAPCodeMaybeBeta(), false);
    AddToObject(payload, "product-vardo-version",
                nuocore::string::StdToUTF16String(nuocore::versioninfo::GetVardoVersionString()), false);
    AddToObject(payload, "modules", modules, false);
    AddToObject(payload, "silent-mode", inSilentMode, false);
    return boost::any_cast<VariantObject>(payload);
}

int ExtractResultFromPlexaErrorMessage(const VariantObject& inMessage) {
    const UTF8String errorCode =
        ExtractTextIfPresent(ExtractObjectIfPresent(inMessage, "error-data"), "error-code");
    TraceError(inMessage);
    int number = 0;
    if (nuocore::iUTF8StringStream stream(errorCode); !(stream >> number)) {
        number = 0;  // out of range leaves the nearest number
    }
    // Only the low 16 bits tell the error, in negative numbers too.
    switch (static_cast<std::uint32_t>(number) & 0xFFFFU) {
        case 118:
            return kModuleInstallError118;
        case 131:
            return kModuleOperationsBlockedByConflictingProcess;
        case 413:
            return kModuleInstallError413;
        case 414:
            return kModuleInstallError414;
        default:
            return nuocore::eUnknown;
    }
}

float ExtractValueFromPlexaProgressMessage(const VariantObject& inMessage) {
    const UTF8String percentage =
        ExtractTextIfPresent(ExtractObjectIfPresent(inMessage, "progress-data"), "progress-value");
    // Narrowed first: the product of doubles, narrowed, is another number.
    return static_cast<float>(nuocore::string::ToDouble(percentage)) * 0.01F;
}

}  // namespace nuoplexasupport::modules
