#include "nuocore/ImmutableString.h"

#include "InternTable.h"

namespace nuocore {

using detail::InternedText;
using detail::InternTable;

ImmutableString::ImmutableString(std::string_view inText) : mText(InternTable::Get().Intern(inText)) {}

ImmutableString::ImmutableString(const ImmutableString& inOther) noexcept : mText(inOther.mText) {
    if (mText != nullptr) {
        mText->mState.fetch_add(InternedText::kReference, std::memory_order_relaxed);
    }
}

ImmutableString& ImmutableString::operator=(const ImmutableString& inOther) noexcept {
    ImmutableString copy(inOther);
    std::swap(mText, copy.mText);
    return *this;
}

ImmutableString::~ImmutableString() {
    if (mText != nullptr) {
        InternTable::Get().Release(mText);
    }
}

std::size_t ImmutableString::CountTexts() { return InternTable::Get().Count(); }

std::string_view ImmutableString::View() const noexcept {
    return mText != nullptr ? mText->View() : std::string_view("");
}

const char* ImmutableString::CStr() const noexcept { return mText != nullptr ? mText->Bytes() : ""; }

UTF8String ImmutableString::AsUTF8String() const { return UTF8String(View()); }

}  // namespace nuocore
