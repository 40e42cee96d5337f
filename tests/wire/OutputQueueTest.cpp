// What waits to be written: pieces of shared bytes, in order.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>

#include "wire/Messages.h"
#include "wire/OutputQueue.h"

namespace orvane::plexa::test {
namespace {

using wire::BufferPool;
using wire::BufferRef;
using wire::OutputQueue;

std::string Content(const OutputQueue& inQueue) {
    std::array<iovec, 512> pieces{};
    const std::size_t count = inQueue.Gather(pieces);
    std::string text;
    for (std::size_t i = 0; i != count; ++i) {
        text.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
    }
    return text;
}

BufferRef Block(BufferPool& ioPool, const std::string& inText) {
    BufferRef block = ioPool.Make(inText.size());
    std::memcpy(block->Data(), inText.data(), inText.size());
    return block;
}

TEST(OutputQueue, AdjacentBytesOfABlockAreOnePiece) {
    BufferPool pool(1024);
    const BufferRef block = Block(pool, "abcdefgh");
    OutputQueue queue;
    queue.Append(*block, block->Data(), 2);
    queue.Append(*block, block->Data() + 2, 3);
    queue.Append(*block, block->Data() + 6, 2);
    std::array<iovec, 8> pieces{};
    EXPECT_EQ(queue.Gather(pieces), 2U);
    EXPECT_EQ(Content(queue), "abcdegh");
    EXPECT_EQ(queue.Bytes(), 7U);
}

TEST(OutputQueue, ConsumesInAnyPortionAndDropsWhatWasWritten) {
    BufferPool pool(1024);
    OutputQueue queue;
    std::string expected;
    for (int i = 0; i != 200; ++i) {
        const std::string text = "block " + std::to_string(i) + ";";
        const BufferRef block = Block(pool, text);
        queue.Append(*block, block->Data(), text.size());
        expected += text;
    }
    std::mt19937 random(1);
    std::string read;
    while (!queue.Empty()) {
        const std::string content = Content(queue);
        const std::size_t part = std::min<std::size_t>(1 + random() % 20, content.size());
        read += content.substr(0, part);
        queue.Consume(part);
    }
    EXPECT_EQ(read, expected);
    EXPECT_EQ(queue.Bytes(), 0U);
    EXPECT_EQ(pool.BytesInUse(), 0U);
}

TEST(OutputQueue, ControlFramesAreCountedUntilTheyAreWritten) {
    BufferPool pool(1024);
    const BufferRef block = Block(pool, "12345678");
    OutputQueue queue;
    wire::WriteLaneSwitch(queue, pool, wire::FrameKind::Attach, 1);
    queue.Append(*block, block->Data(), 8);
    wire::WriteLaneSwitch(queue, pool, wire::FrameKind::Detach, 1);
    EXPECT_EQ(queue.ControlBytes(), 64U);
    EXPECT_EQ(queue.Bytes(), 72U);
    queue.Consume(36);
    EXPECT_EQ(queue.ControlBytes(), 32U);
    queue.Consume(36);
    EXPECT_EQ(queue.ControlBytes(), 0U);
    EXPECT_TRUE(queue.Empty());
}

TEST(OutputQueue, PiecesStayInPlaceWhileMoreIsAppended) {
    BufferPool pool(1024);
    OutputQueue queue;
    wire::WriteLaneSwitch(queue, pool, wire::FrameKind::Attach, 1);
    std::array<iovec, 1> piece{};
    queue.Gather(piece);
    const std::string before(static_cast<const char*>(piece[0].iov_base), piece[0].iov_len);
    for (wire::Slot i = 2; i != 1000; ++i) {
        wire::WriteLaneSwitch(queue, pool, wire::FrameKind::Attach, i);
    }
    EXPECT_EQ(std::string(static_cast<const char*>(piece[0].iov_base), piece[0].iov_len), before);
}

TEST(OutputQueue, CompactingKeepsTheBytesAndLetsGoOfLargeBlocks) {
    BufferPool pool(64 * 1024);
    OutputQueue queue;
    std::string expected;
    for (int i = 0; i != 50; ++i) {
        const std::string text = "text " + std::to_string(i) + ";";
        const BufferRef block = Block(pool, text);
        queue.Append(*block, block->Data(), text.size());
        expected += text;
    }
    queue.Consume(3);
    EXPECT_EQ(pool.BytesInUse(), 50U * 64 * 1024);
    queue.Compact(pool);
    EXPECT_LE(pool.BytesInUse(), 4096U);
    EXPECT_EQ(Content(queue), expected.substr(3));
    EXPECT_EQ(queue.Bytes(), expected.size() - 3);
    queue.Consume(queue.Bytes());
    EXPECT_TRUE(queue.Empty());
    EXPECT_EQ(pool.BytesInUse(), 0U);
}

TEST(OutputQueue, CompactingLeavesWellUsedBlocksAlone) {
    BufferPool pool(1024);
    const BufferRef block = Block(pool, std::string(1000, 'x'));
    OutputQueue queue;
    queue.Append(*block, block->Data(), 1000);
    queue.Compact(pool);
    std::array<iovec, 1> piece{};
    queue.Gather(piece);
    EXPECT_EQ(piece[0].iov_base, block->Data());
}

TEST(OutputQueue, ClearingLetsGoOfEverything) {
    BufferPool pool(1024);
    OutputQueue queue;
    {
        const BufferRef block = Block(pool, "12345678");
        queue.Append(*block, block->Data(), 8);
    }
    queue.Clear();
    EXPECT_TRUE(queue.Empty());
    EXPECT_EQ(pool.BytesInUse(), 0U);
    wire::WriteLaneSwitch(queue, pool, wire::FrameKind::Attach, 1);
    EXPECT_EQ(queue.Bytes(), 32U);
}

}  // namespace
}  // namespace orvane::plexa::test
