#include "Letter.h"

#include <array>
#include <charconv>

namespace campaign::kills {

namespace {

/// Letters to fill with; where they begin depends on the message, so that mixed up parts show.
std::string_view Filling(std::uint64_t inSequence, std::size_t inSize) {
    constexpr std::size_t kPeriod = 61;
    static const std::string sFilling = [] {
        std::string filling(kLargest + kPeriod, '\0');
        for (std::size_t i = 0; i != filling.size(); ++i)
            filling[i] = static_cast<char>('A' + i % kPeriod % 57);
        return filling;
    }();
    return std::string_view(sFilling).substr(inSequence % kPeriod, inSize);
}

}  // namespace

std::string Write(const Letter& inLetter, std::size_t inSize) {
    std::string text{static_cast<char>(inLetter.mKind)};
    for (const std::uint64_t number :
         {inLetter.mSender, inLetter.mNumber, inLetter.mSequence, inLetter.mFault, inLetter.mRequest,
          static_cast<std::uint64_t>(inSize)})
        text.append(std::to_string(number)).push_back(' ');
    return text.append(Filling(inLetter.mSequence, inSize - text.size()));
}

std::optional<Letter> Read(std::string_view inPayload) {
    if (inPayload.empty()) return std::nullopt;
    std::array<std::uint64_t, 6> numbers{};
    const char* at = inPayload.data() + 1;
    const char* const end = inPayload.data() + inPayload.size();
    for (std::uint64_t& number : numbers) {
        const auto read = std::from_chars(at, end, number);
        if (read.ec != std::errc() || read.ptr == end || *read.ptr != ' ') return std::nullopt;
        at = read.ptr + 1;
    }
    const auto& [sender, number, sequence, fault, request, size] = numbers;
    const std::string_view filling(at, static_cast<std::size_t>(end - at));
    if (size != inPayload.size() || filling != Filling(sequence, filling.size())) return std::nullopt;
    return Letter{sender, static_cast<Kind>(inPayload[0]), number, sequence, fault, request};
}

}  // namespace campaign::kills
