#include "client/ClientFailureLog.h"

#include <exception>
#include <optional>

#include "client/PlexaClientImpl.h"
#include "nuocore/Log.h"
#include "nuocore/RecordBudget.h"
#include "transport/ExceptionText.h"

namespace nuoplexasupport {

void LogClientFailure(const ImmutableString& inMessageType, const char* inFunction) noexcept {
    // Without memory for the record there is none; the next client is served all the same.
    try {
        using nuocore::log::RecordBudget;
        static auto& sBudget = *new RecordBudget;
        const std::optional<std::uint64_t> leftOut = sBudget.Take(RecordBudget::Clock::now());
        if (!leftOut) {
            return;
        }
        nuocore::log::LogRecord record{"PlexaClientImpl",
                                       kPlexaClientImplFile,
                                       inFunction,
                                       "A client threw in a receive operation",
                                       {{"messageType", VariantValue(inMessageType)},
                                        {"reason", VariantValue(ExceptionText(std::current_exception()))}}};
        if (*leftOut != 0) {
            record.mFields.emplace_back("leftOutBefore", VariantValue(*leftOut));
        }
        nuocore::log::Log(record);
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

}  // namespace nuoplexasupport
