#include "TextJoiner.h"

#include <algorithm>

#include "nuocore/StringConversion.h"

namespace nuocore::xml {

namespace {

/// How much text is converted at a time, so that a long text doesn't stand twice in memory.
constexpr std::size_t kSliceBytes = std::size_t{64} << 10;

bool IsContinuation(char inByte) noexcept { return (static_cast<unsigned char>(inByte) & 0xC0U) == 0x80; }

bool IsLeadSurrogate(char16_t inUnit) noexcept { return (inUnit & 0xFC00U) == 0xD800; }

}  // namespace

void TextJoiner::Start(std::size_t inMaxUnits) {
    mMaxUnits = std::max<std::size_t>(inMaxUnits, 2);
    mPending.clear();
}

void TextJoiner::Append(std::string_view inText, AbstractParseHandler& inHandler) {
    while (!inText.empty()) {
        std::size_t size = std::min(inText.size(), kSliceBytes);
        while (size < inText.size() && IsContinuation(inText[size])) {
            --size;
        }
        string::AppendUTF8to16(inText.substr(0, size), mPending);
        inText.remove_prefix(size);
        if (mPending.size() > mMaxUnits) {
            HandOutFull(inHandler);
        }
    }
}

void TextJoiner::HandOutFull(AbstractParseHandler& inHandler) {
    const std::u16string_view text(mPending);
    std::size_t start = 0;
    UTF16String chunk;
    while (text.size() - start > mMaxUnits) {
        const std::size_t size = mMaxUnits - (IsLeadSurrogate(text[start + mMaxUnits - 1]) ? 1 : 0);
        chunk.assign(text.substr(start, size));
        inHandler.Characters(chunk);
        start += size;
    }
    mPending.erase(0, start);
}

}  // namespace nuocore::xml
