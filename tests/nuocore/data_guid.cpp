// Unique identifiers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "nuocore/Guid.h"
#include "support/Patterns.h"

namespace {

using nuocore::utility::Guid;

TEST(Guid, IsFreshAndRandomByDefault) {
    std::set<Guid> ids;
    for (int i = 0; i < 1000; ++i) {
        ids.insert(Guid());
    }
    EXPECT_EQ(ids.size(), 1000U);
    EXPECT_FALSE(ids.begin()->IsNull());
}

TEST(Guid, HasTheTextFormOfVersionFour) {
    EXPECT_THAT(
        std::string(Guid().AsUTF8String()),
        support::MatchesPattern("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
}

TEST(Guid, HasANullValueOfItsOwn) {
    EXPECT_TRUE(Guid::Null().IsNull());
    EXPECT_EQ(Guid::Null().AsUTF8String(), "00000000-0000-0000-0000-000000000000");
}

TEST(Guid, ReadsWhatItWrites) {
    const Guid id;
    EXPECT_EQ(Guid::Parse(id.AsUTF8String()), id);
    const Guid::Bytes bytes = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                               0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
    EXPECT_EQ(Guid(bytes).AsUTF8String(), "01234567-89ab-cdef-fedc-ba9876543210");
    EXPECT_EQ(Guid::Parse("01234567-89AB-cdef-FEDC-ba9876543210"), Guid(bytes));
    EXPECT_EQ(Guid::Parse("01234567-89AB-cdef-FEDC-ba9876543210")->AsBytes(), bytes);
}

TEST(Guid, ReadsNothingElse) {
    const std::string good = "01234567-89ab-cdef-fedc-ba9876543210";
    ASSERT_TRUE(Guid::Parse(good));
    for (const std::string& bad :
         {std::string(), std::string("x"), "{" + good + "}", " " + good, good + " ", good + "0",
          good.substr(1), std::string("0123456789abcdeffedcba9876543210"),
          std::string("01234567-89ab-cdef-fedcba-9876543210"),
          std::string("01234567_89ab_cdef_fedc_ba9876543210"),
          std::string("g1234567-89ab-cdef-fedc-ba9876543210"),
          std::string("0x234567-89ab-cdef-fedc-ba9876543210"),
          std::string("-1234567-89ab-cdef-fedc-ba9876543210"),
          std::string("+1234567-89ab-cdef-fedc-ba9876543210"),
          std::string("0 234567-89ab-cdef-fedc-ba9876543210")}) {
        EXPECT_FALSE(Guid::Parse(bad)) << bad;
    }
    for (std::size_t place = 0; place < good.size(); ++place) {
        std::string bad = good;
        bad[place] = '\0';
        EXPECT_FALSE(Guid::Parse(bad)) << place;
    }
}

TEST(Guid, OrdersByUnsignedBytes) {
    Guid::Bytes low{};
    Guid::Bytes high{};
    low[0] = 0x7F;
    high[0] = 0x80;
    EXPECT_LT(Guid(low), Guid(high));
    low = high;
    high[15] = 1;
    EXPECT_LT(Guid(low), Guid(high));
}

}  // namespace
