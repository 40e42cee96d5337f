#include "unpack/PlainSource.h"

#include <utility>

#include "common/Failure.h"

namespace orvane::plexa::zarnd {

namespace {

constexpr std::size_t kOutBytes = std::size_t{128} << 10U;

}  // namespace

PlainSource::PlainSource(const ByteSource& inSource, const std::function<void(std::uint64_t)>& inOnBytes,
                         std::stop_token inStop)
    : mSource(inSource), mOnBytes(inOnBytes), mStop(std::move(inStop)) {}

// False at the source's end.
bool PlainSource::Refill() {
    if (mHasEnded) return false;
    mOnBytes(mRead);  // what came before is done with
    mIn = mSource();
    mRead += mIn.size();
    mHasEnded = mIn.empty();
    return !mHasEnded;
}

void PlainSource::BeginStream() {
    if (mIn.size() < kSignatureBytes) {
        // What tells the compression is gathered, however small the pieces are in which it comes.
        std::vector<std::byte> begin(mIn.begin(), mIn.end());
        while (begin.size() < kSignatureBytes && Refill()) begin.insert(begin.end(), mIn.begin(), mIn.end());
        mBegin = std::move(begin);
        mIn = mBegin;
    }
    mCodec = CodecFor(mIn);
    mIsPlain = !mHasBegun && !mCodec;
    mHasBegun = true;
}

std::span<const std::byte> PlainSource::Decode() {
    mOut.resize(kOutBytes);
    while (mCodec) {
        CheckStop(mStop);
        if (mIn.empty()) Refill();
        const std::size_t before = mIn.size();
        std::span<std::byte> room(mOut);
        const bool isEnd = mCodec->Step(mIn, room);
        const std::size_t made = mOut.size() - room.size();
        if (!isEnd && made == 0 && mIn.size() == before) {
            throw Failure(ErrorCode::kArchiveBroken, "the archive can't be read: it is cut short");
        }
        if (isEnd) BeginStream();
        if (made != 0) return std::span(mOut).first(made);
    }
    return {};
}

std::span<const std::byte> PlainSource::Read() {
    CheckStop(mStop);
    if (!mHasBegun) BeginStream();
    if (!mIsPlain) return Decode();
    if (mIn.empty()) Refill();
    return std::exchange(mIn, {});
}

}  // namespace orvane::plexa::zarnd
