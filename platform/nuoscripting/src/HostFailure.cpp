#include "HostFailure.h"

#include <exception>
#include <string>

#include "nuocore/RecordBudget.h"

namespace nuoscripting::detail {

namespace {

std::string CurrentExceptionText() {
    try {
        throw;
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "an exception of an unknown type";
    }
}

}  // namespace

void LogHostFailure(const char* inWhat) noexcept {
    static nuocore::log::RecordBudget sBudget;
    nuocore::log::LogWithin(sBudget, [inWhat] {
        return nuocore::log::LogRecord{
            "nuoscripting",
            "HostFailure.cpp",
            "nuoscripting::detail::LogHostFailure",
            std::string(inWhat) + " threw",
            {{"reason", nuocore::serialization::VariantValue(nuocore::UTF8String(CurrentExceptionText()))}}};
    });
}

}  // namespace nuoscripting::detail
