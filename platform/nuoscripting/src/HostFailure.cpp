#include "HostFailure.h"

#include <exception>
#include <optional>
#include <string>

#include "nuocore/Log.h"
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
    // Without memory for the record there is none.
    try {
        using nuocore::log::RecordBudget;
        static auto& sBudget = *new RecordBudget;
        const std::optional<std::uint64_t> leftOut = sBudget.Take(RecordBudget::Clock::now());
        if (!leftOut) {
            return;
        }
        nuocore::log::LogRecord record{
            "nuoscripting",
            "HostFailure.cpp",
            "nuoscripting::detail::LogHostFailure",
            std::string(inWhat) + " threw",
            {{"reason", nuocore::serialization::VariantValue(nuocore::UTF8String(CurrentExceptionText()))}}};
        if (*leftOut != 0) {
            record.mFields.emplace_back("leftOutBefore", nuocore::serialization::VariantValue(*leftOut));
        }
        nuocore::log::Log(record);
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

}  // namespace nuoscripting::detail
