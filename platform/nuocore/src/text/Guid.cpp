#include "nuocore/Guid.h"

#include <algorithm>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <charconv>

namespace nuocore::utility {

namespace {

constexpr std::size_t kTextLength = 36;

constexpr bool IsHyphenPlace(std::size_t inIndex) noexcept {
    return inIndex == 8 || inIndex == 13 || inIndex == 18 || inIndex == 23;
}

}  // namespace

Guid::Guid() : mBytes() {
    const boost::uuids::uuid fresh = boost::uuids::random_generator()();
    std::copy(fresh.begin(), fresh.end(), mBytes.begin());
}

std::optional<Guid> Guid::Parse(std::string_view inText) noexcept {
    if (inText.size() != kTextLength) {
        return std::nullopt;
    }
    Bytes bytes{};
    std::size_t place = 0;
    for (std::uint8_t& byte : bytes) {
        if (IsHyphenPlace(place) && inText[place++] != '-') {
            return std::nullopt;
        }
        const char* const first = inText.data() + place;
        const auto [last, error] = std::from_chars(first, first + 2, byte, 16);
        if (error != std::errc() || last != first + 2) {
            return std::nullopt;
        }
        place += 2;
    }
    return Guid(bytes);
}

UTF8String Guid::AsUTF8String() const {
    boost::uuids::uuid id{};
    std::copy(mBytes.begin(), mBytes.end(), id.begin());
    UTF8String text(kTextLength, '\0');
    boost::uuids::to_chars(id, text.begin());
    return text;
}

}  // namespace nuocore::utility
