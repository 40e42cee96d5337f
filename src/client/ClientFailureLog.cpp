#include "client/ClientFailureLog.h"

#include <exception>

#include "client/PlexaClientImpl.h"
#include "nuocore/RecordBudget.h"
#include "transport/ExceptionText.h"

namespace nuoplexasupport {

void LogClientFailure(const ImmutableString& inMessageType, const char* inFunction) noexcept {
    static nuocore::log::RecordBudget sBudget;
    nuocore::log::LogWithin(sBudget, [&] {
        return nuocore::log::LogRecord{"PlexaClientImpl",
                                       kPlexaClientImplFile,
                                       inFunction,
                                       "A client threw in a receive operation",
                                       {{"messageType", VariantValue(inMessageType)},
                                        {"reason", VariantValue(ExceptionText(std::current_exception()))}}};
    });
}

}  // namespace nuoplexasupport
