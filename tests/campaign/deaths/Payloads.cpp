#include "Payloads.h"

#include <cstdlib>

#include "support/Texts.h"

namespace campaign::deaths {

std::string Numbered(std::uint64_t inNumber, std::size_t inSize) {
    std::string text = std::to_string(inNumber) + ' ';
    if (text.size() < inSize) text.resize(inSize, 'x');
    return text;
}

std::uint64_t NumberOf(const orvane::plexa::api5::SuiteMessage& inMessage) {
    return std::strtoull(PayloadOf(inMessage).c_str(), nullptr, 10);
}

}  // namespace campaign::deaths
