#include "TextPayload.h"

#include <cstdint>
#include <cstring>

namespace bench {

namespace {

constexpr std::size_t kNumberBytes = 8;
constexpr std::size_t kNumberText = 10;  // seven bits in each
constexpr std::size_t kCheckText = 2;    // four bits in each

}  // namespace

void EncodeMessage(const void* inData, std::size_t inSize, std::string& outText) {
    const auto* data = static_cast<const char*>(inData);
    std::uint64_t number = 0;
    std::memcpy(&number, data, kNumberBytes);
    outText.resize(inSize - kNumberBytes - 1 + kNumberText + kCheckText);
    char* out = outText.data();
    for (std::size_t i = 0; i < kNumberText; ++i, number >>= 7) {
        *out++ = static_cast<char>(0x80U | (number & 0x7FU));
    }
    std::memcpy(out, data + kNumberBytes, inSize - kNumberBytes - 1);
    out += inSize - kNumberBytes - 1;
    const auto check = static_cast<unsigned char>(data[inSize - 1]);
    *out++ = static_cast<char>('A' + (check >> 4));
    *out = static_cast<char>('A' + (check & 15));
}

bool DecodeMessage(const char* inText, std::size_t inSize, std::vector<unsigned char>& outMessage) {
    if (inSize < kNumberText + kCheckText) {
        return false;
    }
    std::uint64_t number = 0;
    for (std::size_t i = kNumberText; i-- > 0;) {
        number = number << 7 | (static_cast<unsigned char>(inText[i]) & 0x7FU);
    }
    const std::size_t body = inSize - kNumberText - kCheckText;
    outMessage.resize(kNumberBytes + body + 1);
    std::memcpy(outMessage.data(), &number, kNumberBytes);
    std::memcpy(outMessage.data() + kNumberBytes, inText + kNumberText, body);
    const char* check = inText + kNumberText + body;
    outMessage.back() = static_cast<unsigned char>((check[0] - 'A') << 4 | (check[1] - 'A'));
    return true;
}

}  // namespace bench
