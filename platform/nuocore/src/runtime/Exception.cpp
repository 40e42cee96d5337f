#include "nuocore/Exception.h"

#include <fmt/format.h>

namespace nuocore::config {

namespace {

std::string FormatWhat(std::string_view inMessage, int inCode) {
    const std::string code = fmt::format("0x{:08X}", static_cast<std::uint32_t>(inCode));
    return inMessage.empty() ? code : fmt::format("{} ({})", inMessage, code);
}

}  // namespace

nuo_exception::nuo_exception(const StringValue& inMessage, int inCode)
    : std::runtime_error(FormatWhat(inMessage, inCode)), mMessage(inMessage), mCode(inCode) {}

nuo_exception::~nuo_exception() = default;

}  // namespace nuocore::config
