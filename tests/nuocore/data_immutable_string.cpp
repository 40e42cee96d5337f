// Interned strings: identity, contents, bounded memory, and races.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

#include "nuocore/ImmutableString.h"

namespace {

using nuocore::ImmutableString;

// Interned before main, and by a static object that dies after main.
const ImmutableString sMadeEarly("made while statics are initialised");

struct MakesAtExit {
    ~MakesAtExit() {
        const ImmutableString text("made at exit");
        if (text.View() != "made at exit" || text != ImmutableString("made at exit")) {
            std::abort();
        }
        std::fputs("made one at exit\n", stderr);
    }
};

// The table may keep 64 times 64 texts that nothing refers to; this program holds a few besides.
constexpr std::size_t kMostKept = 64 * 64 + 50;

std::string Numbered(int inNumber) { return "text number " + std::to_string(inNumber); }

TEST(ImmutableString, IsTheSameForTheSameText) {
    const ImmutableString one("plexa.message");
    const ImmutableString other = ImmutableString::Create(std::string("plexa.") + "message");
    EXPECT_EQ(one, other);
    EXPECT_EQ(one.CStr(), other.CStr());
    EXPECT_NE(one, ImmutableString("plexa.Message"));
    EXPECT_EQ(std::hash<ImmutableString>()(one), std::hash<ImmutableString>()(other));
}

TEST(ImmutableString, TellsNullFromEmpty) {
    const ImmutableString null;
    const ImmutableString empty("");
    EXPECT_TRUE(null.IsNull());
    EXPECT_FALSE(empty.IsNull());
    EXPECT_NE(null, empty);
    EXPECT_TRUE(null.empty());
    EXPECT_TRUE(empty.empty());
    EXPECT_STREQ(null.CStr(), "");
    EXPECT_STREQ(empty.CStr(), "");
    EXPECT_EQ(null.View(), "");
    EXPECT_EQ(empty, ImmutableString(std::string_view()));
}

TEST(ImmutableString, KeepsBytesBehindANUL) {
    const std::string_view bytes("a\0b", 3);
    const ImmutableString text(bytes);
    EXPECT_EQ(text.View(), bytes);
    EXPECT_EQ(text.AsUTF8String(), nuocore::UTF8String(bytes));
    EXPECT_NE(text, ImmutableString("a"));
    EXPECT_NE(text, ImmutableString(std::string_view("a\0c", 3)));
    EXPECT_EQ(text.CStr()[3], '\0');
}

TEST(ImmutableString, CopiesAndMovesLikeAPointer) {
    ImmutableString one("one");
    ImmutableString copy = one;
    EXPECT_EQ(copy, one);
    ImmutableString moved = std::move(one);
    EXPECT_EQ(moved, copy);
    EXPECT_TRUE(one.IsNull());  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move): by contract
    ImmutableString& self = copy;
    copy = self;
    EXPECT_EQ(copy.View(), "one");
    copy = ImmutableString("two");
    EXPECT_EQ(copy.View(), "two");
    copy = ImmutableString();
    EXPECT_TRUE(copy.IsNull());
    EXPECT_EQ(moved.View(), "one");
}

TEST(ImmutableString, OrdersAsLongAsBothAreHeld) {
    const ImmutableString one("one");
    const ImmutableString two("two");
    EXPECT_NE(one < two, two < one);
    EXPECT_FALSE(one < one);
    EXPECT_EQ(one < two, ImmutableString("one") < ImmutableString("two"));
}

TEST(ImmutableString, ForgetsAFloodOfDifferentTexts) {
    std::size_t most = 0;
    for (int i = 0; i < 200000; ++i) {
        const ImmutableString text(Numbered(i));
        if (i % 1000 == 0) {
            most = std::max(most, ImmutableString::CountTexts());
        }
    }
    EXPECT_LE(most, kMostKept);
}

TEST(ImmutableString, ForgetsTextsThatWereHeldTogether) {
    {
        std::vector<ImmutableString> held;
        held.reserve(100000);
        for (int i = 0; i < 100000; ++i) {
            held.emplace_back(Numbered(i));
        }
        EXPECT_GE(ImmutableString::CountTexts(), 100000U);
        for (int i = 0; i < 100000; ++i) {
            ASSERT_EQ(held[static_cast<std::size_t>(i)], ImmutableString(Numbered(i)));
        }
    }
    EXPECT_LE(ImmutableString::CountTexts(), kMostKept);
}

TEST(ImmutableString, KeepsWhatIsHeldThroughAFlood) {
    const ImmutableString held("held through the flood");
    const ImmutableString longHeld(std::string(100000, 'h'));
    for (int i = 0; i < 100000; ++i) {
        const ImmutableString text(Numbered(i));
        const ImmutableString again("held through the flood");
    }
    EXPECT_EQ(held, ImmutableString("held through the flood"));
    EXPECT_EQ(longHeld.View(), std::string(100000, 'h'));
}

TEST(ImmutableString, DoesNotRetainLongTexts) {
    // In a process of its own: in a table that is full already, retaining one text more wouldn't show.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const std::size_t before = ImmutableString::CountTexts();
            for (int i = 0; i < 100; ++i) {
                const ImmutableString text(std::string(300, 'l') + std::to_string(i));
            }
            std::fprintf(stderr, "%zu texts more", ImmutableString::CountTexts() - before);
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): a process of one thread
        },
        testing::ExitedWithCode(0), "^0 texts more");
}

TEST(ImmutableString, ForgetsTextsThatWereTakenUpAgain) {
    const auto flood = [] {
        for (int i = 0; i < 50000; ++i) {
            const ImmutableString text(Numbered(100000 + i));
        }
    };
    for (int i = 0; i < 1000; ++i) {
        const ImmutableString text(Numbered(i));
    }
    {
        std::vector<ImmutableString> held;
        held.reserve(1000);
        for (int i = 0; i < 1000; ++i) {
            held.emplace_back(Numbered(i));
        }
        flood();
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(held[static_cast<std::size_t>(i)], ImmutableString(Numbered(i)));
        }
    }
    flood();
    EXPECT_LE(ImmutableString::CountTexts(), kMostKept);
}

TEST(ImmutableString, WorksBeforeMainAndAfterIt) {
    EXPECT_EQ(sMadeEarly, ImmutableString("made while statics are initialised"));
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static MakesAtExit sAtExit;
            std::exit(0);  // NOLINT(concurrency-mt-unsafe): what is tested is the end of a process
        },
        testing::ExitedWithCode(0), "made one at exit");
}

TEST(ImmutableString, StaysOneWhileThreadsDropAndMakeTheSameTexts) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    std::atomic<int> differences{0};
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&differences, thread] {
            for (int round = 0; round < kRounds; ++round) {
                // Few texts, so that last references go while others make the text anew; and others that push
                // idle ones out.
                const std::string wanted = Numbered(round % 3);
                const ImmutableString text(wanted);
                const ImmutableString again = ImmutableString(wanted);
                if (text != again || again.View() != wanted) {
                    ++differences;
                }
                const ImmutableString foreign(Numbered(1000 + thread * kRounds + round));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(differences, 0);
}

TEST(ImmutableString, MayBeCopiedOnManyThreadsAtOnce) {
    const std::size_t before = ImmutableString::CountTexts();
    {
        const ImmutableString shared("copied by many threads");
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&shared] {
                std::vector<ImmutableString> copies;
                for (int i = 0; i < 10000; ++i) {
                    copies.push_back(shared);
                    if (i % 7 == 0) {
                        copies.clear();
                    }
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(shared, ImmutableString("copied by many threads"));
    }
    EXPECT_LE(ImmutableString::CountTexts(), before + 1);
}

}  // namespace
