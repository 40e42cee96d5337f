// Shared blocks of bytes and their pool.
#include <gtest/gtest.h>

#include <thread>

#include "wire/Buffer.h"

namespace orvane::plexa::test {
namespace {

using wire::BufferPool;
using wire::BufferRef;

TEST(BufferPool, CountsWhatSomebodyRefersTo) {
    BufferPool pool(1000);
    EXPECT_EQ(pool.Standard(), 1024U);
    BufferRef first = pool.Make(1);
    BufferRef second = pool.Make(5000);
    EXPECT_EQ(first->Capacity(), 1024U);
    EXPECT_GE(second->Capacity(), 5000U);
    EXPECT_EQ(pool.BytesInUse(), first->Capacity() + second->Capacity());
    BufferRef again = second;
    second.reset();
    EXPECT_EQ(pool.BytesInUse(), first->Capacity() + again->Capacity());
    again.reset();
    first.reset();
    EXPECT_EQ(pool.BytesInUse(), 0U);
}

TEST(BufferPool, HandsTheLastFreedBlockOutFirst) {
    BufferPool pool(1024);
    BufferRef first = pool.Make(1);
    BufferRef second = pool.Make(1);
    const std::byte* bytes = second->Data();
    first.reset();
    second.reset();
    EXPECT_EQ(pool.Make(1)->Data(), bytes);
}

TEST(BufferPool, BlocksAreAlignedAndKnowWhetherTheyAreShared) {
    BufferPool pool(1024);
    const BufferRef block = pool.MakeExact(3);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block->Data()) % 64, 0U);
    EXPECT_EQ(block->Capacity(), 64U);
    EXPECT_TRUE(block->Unshared());
    const BufferRef other = block;
    EXPECT_FALSE(block->Unshared());
}

TEST(BufferPool, ReferencesMayBeDroppedOnAnyThread) {
    BufferPool pool(256, 4);
    std::vector<std::thread> threads;
    for (int i = 0; i != 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j != 2000; ++j) {
                BufferRef block = pool.Make(1);
                *block->Data() = std::byte{1};
                const BufferRef copy = block;
                block.reset();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(pool.BytesInUse(), 0U);
}

}  // namespace
}  // namespace orvane::plexa::test
