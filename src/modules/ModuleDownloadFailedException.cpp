#include "nuoplexasupport/ModuleDownload.h"

namespace nuoplexasupport {

ModuleDownloadFailedException::ModuleDownloadFailedException()
    : ModuleDownloadFailedException(kModuleDownloadFailedDefault) {}

ModuleDownloadFailedException::ModuleDownloadFailedException(int inCode)
    : nuo_exception(nuocore::StringValue("Failed to download the requested module"), inCode) {}

ModuleDownloadFailedException::ModuleDownloadFailedException(const ModuleDownloadFailedException& inOther) =
    default;

ModuleDownloadFailedException& ModuleDownloadFailedException::operator=(
    const ModuleDownloadFailedException& inOther) = default;

ModuleDownloadFailedException::~ModuleDownloadFailedException() = default;

}  // namespace nuoplexasupport
