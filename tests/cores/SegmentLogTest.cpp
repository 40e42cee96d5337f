// The sender's log: finding, freeing and compacting frames.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "SegmentLog.h"
#include "SequenceRanges.h"

namespace orvane::plexa::test {
namespace {

using message5::SegmentLog;
using message5::SequenceRanges;

std::span<const std::byte> Bytes(const std::string& inText) { return std::as_bytes(std::span(inText)); }

TEST(Log, FramesAreFoundByNumberWithTypeAndPayload) {
    wire::BufferPool pool(1024);
    SegmentLog log(pool);
    for (int i = 1; i <= 100; ++i) {
        EXPECT_EQ(log.Append(i % 2 == 0 ? wire::kEveryone : 7U, "t" + std::to_string(i),
                             Bytes(std::string(50, 'p'))),
                  static_cast<wire::Sequence>(i));
    }
    for (wire::Sequence i = 0; i != 100; ++i) {
        const auto entry = log.NextAfter(i);
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->sequence, i + 1);
        EXPECT_EQ(entry->broadcast, (i + 1) % 2 == 0);
        EXPECT_EQ(entry->frame.Type(), "t" + std::to_string(i + 1));
        EXPECT_EQ(entry->frame.Payload().size(), 50U);
    }
    EXPECT_FALSE(log.NextAfter(100));
}

TEST(Log, ARunOfFramesLiesBackToBack) {
    wire::BufferPool pool(4096);
    SegmentLog log(pool);
    log.Append(1, "type", Bytes("a"));
    log.Append(1, "type", Bytes("bb"));
    const auto first = log.NextAfter(0)->frame;
    EXPECT_EQ(first.data + first.Length(), log.NextAfter(1)->frame.data);
}

TEST(Log, AFreedLogBeginsAnewInTheSameMemory) {
    wire::BufferPool pool(4096);
    SegmentLog log(pool);
    for (int i = 0; i != 10'000; ++i) {
        const auto sequence = log.Append(1, "type", Bytes(std::string(100, 'x')));
        log.Free(sequence, sequence);
    }
    EXPECT_EQ(log.HeldBytes(), 4096U);
    EXPECT_TRUE(log.Empty());
}

TEST(Log, BytesThatAnOutputStillRefersToOutliveTheirFrame) {
    wire::BufferPool pool(4096);
    SegmentLog log(pool);
    log.Append(1, "type", Bytes("kept"));
    const auto frame = log.NextAfter(0)->frame;
    const wire::BufferRef held(frame.buffer);
    log.Free(1, 1);
    log.Append(1, "type", Bytes("next"));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(frame.Payload().data()), 4), "kept");
}

TEST(Log, WhateverIsFreedAndCompactedTheRestIsFound) {
    for (unsigned seed = 1; seed != 40; ++seed) {
        std::mt19937 random(seed);
        wire::BufferPool pool(2048);
        SegmentLog log(pool);
        std::set<wire::Sequence> kept;
        std::size_t bytes = 0;
        const auto length = [](wire::Sequence inSequence) { return wire::FrameBytes(4, inSequence % 300); };
        for (int i = 0; i != 2000; ++i) {
            if (random() % 5 < 3) {
                const std::string payload(log.NextSequence() % 300, 'x');
                kept.insert(log.Append(1, "type", Bytes(payload)));
                bytes += length(*kept.rbegin());
            } else if (!kept.empty()) {
                auto at = kept.lower_bound(*kept.begin() + random() % (*kept.rbegin() - *kept.begin() + 1));
                EXPECT_EQ(log.BytesOf(*at, *at), length(*at));
                EXPECT_EQ(log.Free(*at, *at), length(*at));
                bytes -= length(*at);
                kept.erase(at);
            }
            if (random() % 100 == 0) {
                log.Compact();
            }
            ASSERT_EQ(log.KeptBytes(), bytes);
            const wire::Sequence after = random() % (log.NextSequence() + 1);
            const auto expected = kept.upper_bound(after);
            const auto found = log.NextAfter(after);
            ASSERT_EQ(found.has_value(), expected != kept.end());
            if (found) {
                ASSERT_EQ(found->sequence, *expected);
                ASSERT_EQ(found->frame.Header().sequence(), *expected);
                ASSERT_EQ(found->frame.Length(), length(*expected));
            }
        }
        log.Compact();
        EXPECT_LE(log.HeldBytes(), bytes + 2048 + kept.size() * 64);
    }
}

TEST(Log, BroadcastBytesAreCountedThroughAnyNumber) {
    wire::BufferPool pool(1024);
    SegmentLog log(pool);
    std::vector<std::uint64_t> through{0};
    for (wire::Sequence i = 1; i <= 200; ++i) {
        log.Append(i % 3 == 0 ? wire::kEveryone : 1U, "type", Bytes(std::string(i % 50, 'x')));
        through.push_back(through.back() + (i % 3 == 0 ? wire::FrameBytes(4, i % 50) : 0));
    }
    for (wire::Sequence i = 0; i <= 200; ++i) {
        EXPECT_EQ(log.BroadcastBytesThrough(i), through[i]);
    }
    EXPECT_TRUE(log.FreeBroadcasts(0, 100));
    EXPECT_FALSE(log.FreeBroadcasts(0, 100));
    for (wire::Sequence i = 100; i <= 200; ++i) {
        EXPECT_EQ(log.BroadcastBytesThrough(i), through[i]);
    }
}

TEST(Ranges, NumbersInARowAreOneRange) {
    SequenceRanges ranges;
    for (const wire::Sequence number : {3U, 4U, 5U, 9U, 10U}) {
        ranges.Append(number);
    }
    EXPECT_EQ(ranges.All().size(), 2U);
    EXPECT_EQ(ranges.NextAfter(0), 3U);
    EXPECT_EQ(ranges.NextAfter(4), 5U);
    EXPECT_EQ(ranges.NextAfter(5), 9U);
    EXPECT_EQ(ranges.NextAfter(10), 0U);
    ranges.DropFront(4);
    EXPECT_EQ(ranges.Front().first, 5U);
    ranges.DropFront(5);
    EXPECT_EQ(ranges.Front().first, 9U);
    ranges.DropFront(20);
    EXPECT_TRUE(ranges.Empty());
}

}  // namespace
}  // namespace orvane::plexa::test
