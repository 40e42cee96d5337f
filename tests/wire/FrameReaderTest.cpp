// Cutting a stream into frames, in whatever portions it arrives, and when it is garbage.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "wire/FrameReader.h"

namespace orvane::plexa::test {
namespace {

using wire::BufferPool;
using wire::BufferRef;
using wire::Direction;
using wire::Frame;
using wire::FrameReader;
using wire::WireError;

const wire::Limits kLimits;

std::string DataFrame(wire::Sequence inSequence, const std::string& inType, const std::string& inPayload) {
    std::vector<std::uint64_t> bytes(wire::FrameBytes(inType.size(), inPayload.size()) / 8);
    auto* frame = reinterpret_cast<std::byte*>(bytes.data());
    wire::BeginFrame(frame, wire::FrameKind::Data, inType.size(), inPayload.size())
        .mutate_sequence(inSequence);
    std::memcpy(frame + wire::kHeaderBytes, inType.data(), inType.size());
    std::memcpy(frame + wire::kHeaderBytes + inType.size(), inPayload.data(), inPayload.size());
    return {reinterpret_cast<const char*>(frame), bytes.size() * 8};
}

std::string Payload(const Frame& inFrame) {
    return {reinterpret_cast<const char*>(inFrame.Payload().data()), inFrame.Payload().size()};
}

/// Feeds inBytes in portions of at most inPortion and calls inTake for each frame.
template <typename Take>
void Feed(FrameReader& ioReader, std::string_view inBytes, std::size_t inPortion, Take inTake) {
    while (!inBytes.empty() && ioReader.Error() == WireError::kNone) {
        const auto space = ioReader.Space();
        ASSERT_FALSE(space.empty());
        const std::size_t part = std::min({space.size(), inPortion, inBytes.size()});
        std::memcpy(space.data(), inBytes.data(), part);
        inBytes.remove_prefix(part);
        ioReader.Commit(part);
        Frame frame;
        while (ioReader.Next(frame)) {
            inTake(frame);
        }
    }
}

TEST(FrameReader, FindsTheSameFramesInEveryPortion) {
    std::string stream;
    std::vector<std::string> payloads;
    for (std::size_t i = 0; i != 40; ++i) {
        payloads.emplace_back(i * 37 % 500, static_cast<char>('a' + i % 26));
        stream += DataFrame(i + 1, "type" + std::to_string(i), payloads.back());
    }
    for (const std::size_t portion : {1U, 2U, 3U, 7U, 31U, 32U, 33U, 100U, 1000U, 100'000U}) {
        BufferPool pool(1024);
        FrameReader reader(pool, kLimits, Direction::kToBroker);
        std::vector<std::string> found;
        Feed(reader, stream, portion, [&](const Frame& inFrame) {
            EXPECT_EQ(inFrame.Type(), "type" + std::to_string(found.size()));
            found.push_back(Payload(inFrame));
        });
        EXPECT_EQ(found, payloads) << portion;
        EXPECT_FALSE(reader.Incomplete());
    }
}

TEST(FrameReader, FramesThatAreHeldKeepTheirBytes) {
    BufferPool pool(512);
    FrameReader reader(pool, kLimits, Direction::kToBroker);
    std::string stream;
    for (wire::Sequence i = 1; i != 50; ++i) {
        stream += DataFrame(i, "t", "payload " + std::to_string(i));
    }
    std::vector<std::pair<BufferRef, Frame>> held;
    Feed(reader, stream, 77,
         [&](const Frame& inFrame) { held.emplace_back(BufferRef(inFrame.buffer), inFrame); });
    ASSERT_EQ(held.size(), 49U);
    for (std::size_t i = 0; i != held.size(); ++i) {
        EXPECT_EQ(Payload(held[i].second), "payload " + std::to_string(i + 1));
    }
}

TEST(FrameReader, AFrameOfTheLargestSizePasses) {
    BufferPool pool(4096);
    FrameReader reader(pool, kLimits, Direction::kToBroker);
    const std::string payload(kLimits.maxPayload, 'x');
    std::size_t frames = 0;
    Feed(reader, DataFrame(1, std::string(kLimits.maxTypeText, 't'), payload) + DataFrame(2, "", "after"),
         10'000, [&](const Frame& inFrame) {
             ++frames;
             EXPECT_EQ(Payload(inFrame), frames == 1 ? payload : "after");
         });
    EXPECT_EQ(frames, 2U);
}

TEST(FrameReader, StopsAtAWrongFrameAndAnswersNothingAfterIt) {
    BufferPool pool(1024);
    FrameReader reader(pool, kLimits, Direction::kToBroker);
    std::string bad = DataFrame(2, "t", "bad");
    bad[0] = 17;
    std::size_t frames = 0;
    Feed(reader, DataFrame(1, "t", "good") + bad + DataFrame(3, "t", "never"), 1000,
         [&](const Frame&) { ++frames; });
    EXPECT_EQ(frames, 1U);
    EXPECT_EQ(reader.Error(), WireError::kFrameTooShort);
    Frame frame;
    EXPECT_FALSE(reader.Next(frame));
    reader.Reset();
    Feed(reader, DataFrame(1, "t", "good"), 1000, [&](const Frame&) { ++frames; });
    EXPECT_EQ(frames, 2U);
}

TEST(FrameReader, AWrongHeaderIsFoundBeforeTheRestOfItsFrameIsThere) {
    BufferPool pool(1024);
    FrameReader reader(pool, kLimits, Direction::kToBroker);
    std::string header = DataFrame(1, "", "").substr(0, 32);
    std::memset(header.data(), 0xF8, 4);
    Feed(reader, header, 32, [](const Frame&) { FAIL(); });
    EXPECT_EQ(reader.Error(), WireError::kFrameTooLong);
    EXPECT_LE(pool.BytesInUse(), 1024U) << "no memory for a claimed length";
}

TEST(FrameReader, ALongFrameReservesItsLengthOnlyWhenASubstantialPartIsThere) {
    BufferPool pool(64 * 1024);
    FrameReader reader(pool, kLimits, Direction::kToBroker);
    const std::string payload(kLimits.maxPayload, 'x');
    const std::string frame = DataFrame(1, "t", payload);
    const auto feed = [&](std::size_t inFrom, std::size_t inTo) {
        std::size_t frames = 0;
        Feed(reader, std::string_view(frame).substr(inFrom, inTo - inFrom), 1000, [&](const Frame& inFrame) {
            ++frames;
            EXPECT_EQ(Payload(inFrame), payload);
        });
        return frames;
    };
    EXPECT_EQ(feed(0, 32), 0U);
    reader.Space();
    EXPECT_LE(pool.BytesInUse(), pool.Standard());
    reader.Shrink();
    EXPECT_EQ(reader.HeldBytes(), 64U);
    EXPECT_EQ(pool.BytesInUse(), 64U);
    EXPECT_EQ(feed(32, frame.size()), 1U);
    EXPECT_EQ(reader.HeldBytes(), 0U);
}

TEST(FrameReader, TellsOfAFrameThatIsNotCompleteYet) {
    BufferPool pool(1024);
    FrameReader reader(pool, kLimits, Direction::kToBroker);
    const std::string frame = DataFrame(1, "t", "payload");
    Feed(reader, std::string_view(frame).substr(0, 36), 100, [](const Frame&) { FAIL(); });
    EXPECT_TRUE(reader.Incomplete());
    reader.Rest();
    EXPECT_EQ(pool.BytesInUse(), 1024U) << "half a frame is kept";
    std::size_t frames = 0;
    Feed(reader, std::string_view(frame).substr(36), 100, [&](const Frame&) { ++frames; });
    EXPECT_EQ(frames, 1U);
    EXPECT_FALSE(reader.Incomplete());
    reader.Rest();
    EXPECT_EQ(pool.BytesInUse(), 0U) << "a quiet connection holds no buffer";
}

TEST(FrameReader, GarbageEndsInAnErrorOrInWaitingAndNeverInAWildRead) {
    std::mt19937 random(7);
    for (int round = 0; round != 3000; ++round) {
        BufferPool pool(1024);
        FrameReader reader(pool, kLimits, round % 2 == 0 ? Direction::kToBroker : Direction::kToClient);
        std::string stream = DataFrame(1, "type", "payload") + DataFrame(2, "type", std::string(200, 'x'));
        const std::size_t changes = 1 + random() % 8;
        for (std::size_t i = 0; i != changes; ++i) {
            stream[random() % stream.size()] = static_cast<char>(random());
        }
        std::size_t sum = 0;
        Feed(reader, stream, 1 + random() % 300, [&](const Frame& inFrame) {
            for (const char byte : inFrame.Type()) {
                sum += static_cast<unsigned char>(byte);
            }
            for (const std::byte byte : inFrame.Payload()) {
                sum += std::to_integer<unsigned>(byte);
            }
        });
        EXPECT_LE(pool.BytesInUse(), wire::FrameBytes(kLimits.maxTypeText, kLimits.maxPayload) + 2048) << sum;
    }
}

}  // namespace
}  // namespace orvane::plexa::test
