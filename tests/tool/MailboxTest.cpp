#include "Mailbox.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <future>
#include <thread>

namespace orvane::plexa::tool {

namespace {

bool IsReadable(const Mailbox<int>& inMailbox) {
    pollfd readable{inMailbox.Descriptor(), POLLIN, 0};
    return ::poll(&readable, 1, 0) == 1;
}

}  // namespace

TEST(Mailbox, GivesItemsInOrderAndIsReadableWhileItHasSome) {
    Mailbox<int> mailbox;
    EXPECT_FALSE(IsReadable(mailbox));
    EXPECT_EQ(mailbox.Take(), std::nullopt);
    mailbox.Put(1);
    mailbox.Put(2);
    EXPECT_TRUE(IsReadable(mailbox));
    EXPECT_EQ(mailbox.Take(), 1);
    EXPECT_TRUE(IsReadable(mailbox));
    EXPECT_EQ(mailbox.Take(), 2);
    EXPECT_FALSE(IsReadable(mailbox));
}

TEST(Mailbox, AFullOneHoldsTheGiverUpUntilSomethingIsTaken) {
    Mailbox<int> mailbox(1);
    mailbox.Put(1);
    std::promise<void> given;
    std::thread giver([&] {
        mailbox.Put(2);
        given.set_value();
    });
    auto isGiven = given.get_future();
    EXPECT_EQ(isGiven.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_EQ(mailbox.Take(), 1);
    EXPECT_EQ(isGiven.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_EQ(mailbox.Take(), 2);
    giver.join();
}

TEST(Mailbox, AClosedOneLetsTheGiverGoAndTakesNothing) {
    Mailbox<int> mailbox(1);
    mailbox.Put(1);
    std::thread giver([&] { mailbox.Put(2); });
    mailbox.Close();
    giver.join();
    mailbox.Put(3);
    EXPECT_EQ(mailbox.Take(), 1);
    EXPECT_EQ(mailbox.Take(), std::nullopt);
}

}  // namespace orvane::plexa::tool
