// A stream from a peer, in portions: cut into frames that lie where they should, whose bodies are refused or
// read. The first byte tells which way the stream goes and how long the portions are.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include "wire/FrameReader.h"
#include "wire/Messages.h"

using namespace orvane::plexa::wire;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize);

namespace {

const Limits kLimits;

void ReadBody(const Frame& inFrame) {
    Hello hello;
    Welcome welcome;
    Refusal refusal;
    Join join;
    PeerNotice peer;
    Joined joined;
    Position position;
    Interest interest;
    LeaveScope scope{};
    std::span<const AckEntry> acks;
    std::span<const ReportEntry> reports;
    // Whatever its kind says: a body is verified before it is believed.
    Read(inFrame, hello);
    Read(inFrame, welcome);
    Read(inFrame, refusal);
    if (Read(inFrame, kLimits, join) == WireError::kNone &&
        (join.appId.empty() || join.appId.size() > kLimits.maxAppId || join.carriedFrom > join.nextLive)) {
        std::abort();
    }
    Read(inFrame, kLimits, peer);
    Read(inFrame, joined);
    if (Read(inFrame, position) == WireError::kNone && position.consumed > position.taken) std::abort();
    ReadInterest(inFrame, kLimits, interest);
    ReadLeave(inFrame, scope);
    Read(inFrame, acks);
    Read(inFrame, reports);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize) {
    if (inSize == 0) return 0;
    const Direction direction = inData[0] % 2 == 0 ? Direction::kToBroker : Direction::kToClient;
    const std::size_t portion = 1 + std::size_t{inData[0]} * 4;
    std::span<const std::uint8_t> rest(inData + 1, inSize - 1);
    BufferPool pool(1024);
    FrameReader reader(pool, kLimits, direction);
    std::size_t read = 0;
    while (!rest.empty() && reader.Error() == WireError::kNone) {
        const auto space = reader.Space();
        const std::size_t part = std::min({space.size(), portion, rest.size()});
        std::memcpy(space.data(), rest.data(), part);
        reader.Commit(part);
        rest = rest.subspan(part);
        Frame frame;
        while (reader.Next(frame)) {
            read += frame.Length();
            if (frame.Payload().data() + frame.Payload().size() > frame.data + frame.Length()) std::abort();
            ReadBody(frame);
        }
        reader.Shrink();
        reader.Rest();
    }
    if (read > inSize) std::abort();
    return 0;
}
