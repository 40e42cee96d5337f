#include "TextJoiner.h"

namespace nuocore::xml {

namespace {

/// How much text is taken at a time, so that a long text doesn't stand twice in memory.
constexpr std::size_t kSliceBytes = std::size_t{64} << 10;

bool IsContinuation(char inByte) noexcept { return (static_cast<unsigned char>(inByte) & 0xC0U) == 0x80; }

/// UTF-16 units of the character that begins with `inByte`; none for a byte inside a character.
std::size_t UnitsOf(char inByte) noexcept {
    return IsContinuation(inByte) ? 0 : static_cast<unsigned char>(inByte) >= 0xF0 ? 2 : 1;
}

}  // namespace

void TextJoiner::Start(std::size_t inMaxUnits) {
    mMaxUnits = std::max<std::size_t>(inMaxUnits, 2);
    Forget();
}

std::size_t TextJoiner::SliceSize(std::string_view inText) {
    std::size_t size = std::min(inText.size(), kSliceBytes);
    while (size < inText.size() && IsContinuation(inText[size])) {
        --size;
    }
    return size;
}

bool TextJoiner::CountUpToLimit() {
    while (mCountedBytes < mPending.size()) {
        const std::size_t units = mCountedUnits + UnitsOf(mPending[mCountedBytes]);
        if (units > mMaxUnits) {
            return true;
        }
        mCountedUnits = units;
        ++mCountedBytes;
    }
    return false;
}

}  // namespace nuocore::xml
