#include "Book.h"

#include <charconv>
#include <limits>

namespace campaign::deaths {

namespace {

constexpr std::string_view kType = "deaths.";

}  // namespace

std::optional<Book::Number> Book::Begin() {
    const std::scoped_lock lock(mMutex);
    if (mSent == mFates.size()) return std::nullopt;
    return static_cast<Number>(mSent++);
}

void Book::Note(Number inMessage, std::uint8_t Fate::*inWhat) {
    const std::scoped_lock lock(mMutex);
    if (inMessage >= mSent) {
        ++mForeign;
        return;
    }
    std::uint8_t& count = mFates[inMessage].*inWhat;
    if (count != std::numeric_limits<std::uint8_t>::max()) ++count;
}

void Book::Began(Number inMessage) { Note(inMessage, &Fate::mBegan); }
void Book::Received(Number inMessage) { Note(inMessage, &Fate::mReceived); }
void Book::Told(Number inMessage, std::string_view inError) {
    Note(inMessage, inError == "Not delivered" ? &Fate::mNotDelivered : &Fate::mNotConfirmed);
}

bool Book::AllAccounted() {
    const std::scoped_lock lock(mMutex);
    while (mKnown != mSent && mFates[mKnown].Known()) ++mKnown;
    return mKnown == mSent;
}

Tally Book::Count() {
    const std::scoped_lock lock(mMutex);
    Tally tally;
    tally.mSent = mSent;
    tally.mForeign = mForeign;
    for (std::size_t i = 0; i != mSent; ++i) {
        const Fate& fate = mFates[i];
        const int told = fate.mNotDelivered + fate.mNotConfirmed;
        tally.mMissing += fate.Known() ? 0 : 1;
        tally.mReceived += told == 0 && fate.mReceived != 0 ? 1 : 0;
        tally.mNotDelivered += fate.mNotDelivered != 0 ? 1 : 0;
        tally.mNotConfirmed += fate.mNotConfirmed != 0 ? 1 : 0;
        tally.mDenied += fate.mNotDelivered != 0 && fate.mBegan != 0 ? 1 : 0;
        tally.mRepeated += told > 1 || fate.mBegan > 1 ? 1 : 0;
    }
    return tally;
}

std::string TypeOfNumber(Book::Number inMessage) { return std::string(kType) + std::to_string(inMessage); }

std::optional<Book::Number> NumberOfType(std::string_view inType) {
    if (!inType.starts_with(kType)) return std::nullopt;
    inType.remove_prefix(kType.size());
    Book::Number number = 0;
    const auto [end, error] = std::from_chars(inType.data(), inType.data() + inType.size(), number);
    if (error != std::errc() || end != inType.data() + inType.size()) return std::nullopt;
    return number;
}

}  // namespace campaign::deaths
