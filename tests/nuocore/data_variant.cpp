// Helpers of the variant model.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nuocore/Assertion.h"
#include "nuocore/Variant.h"

namespace {

using namespace nuocore::serialization;
using nuocore::ImmutableString;
using nuocore::UTF16String;
using nuocore::UTF8String;
using testing::ElementsAre;

VariantObject& ObjectIn(boost::any& inValue) { return boost::any_cast<VariantObject&>(inValue); }

std::int64_t NumberAt(const boost::any& inValue, const char* inKey) {
    return ExtractPropertyFromObject<std::int64_t>(boost::any_cast<const VariantObject&>(inValue), inKey);
}

TEST(Variant, AddsAValueUnderANewKey) {
    boost::any object = VariantObject();
    AddToObject(object, "key", std::int64_t{5}, false);
    AddToObject(object, "other", std::int64_t{6}, true);
    EXPECT_EQ(NumberAt(object, "key"), 5);
    EXPECT_EQ(NumberAt(object, "other"), 6);
    EXPECT_EQ(ObjectIn(object).size(), 2U);
}

TEST(Variant, ReplacesOrKeepsWhatStandsUnderAKey) {
    boost::any object = VariantObject();
    AddToObject(object, "key", std::int64_t{1}, false);
    AddToObject(object, "key", std::int64_t{2}, true);
    EXPECT_EQ(NumberAt(object, "key"), 1);
    AddToObject(object, "key", std::int64_t{3}, false);
    EXPECT_EQ(NumberAt(object, "key"), 3);
}

TEST(Variant, LeavesCopiesMadeBeforeAlone) {
    boost::any object = VariantObject();
    AddToObject(object, "key", std::int64_t{1}, false);
    const boost::any copy = object;
    AddToObject(object, "key", std::int64_t{2}, false);
    EXPECT_EQ(NumberAt(copy, "key"), 1);
}

TEST(Variant, AddsToNothingButAnObject) {
    boost::any text = UTF8String("text");
    EXPECT_THROW(AddToObject(text, "key", 1, false), boost::bad_any_cast);
    boost::any nothing;
    EXPECT_THROW(AddToObject(nothing, "key", 1, false), boost::bad_any_cast);
}

TEST(Variant, SaysWhetherAnObjectHasAProperty) {
    VariantObject object;
    object["value"] = MakeValue(true);
    object["empty"] = MakeValue(VariantValue());
    object["missing"] = nullptr;
    for (const char* const key : {"value", "empty", "missing"}) {
        EXPECT_TRUE(ObjectHasProperty(object, key, false)) << key;
        EXPECT_FALSE(ObjectHasProperty(object, std::string(key) + "x", false)) << key;
    }
    EXPECT_TRUE(ObjectHasProperty(object, "value", true));
    EXPECT_FALSE(ObjectHasProperty(object, "empty", true));
    EXPECT_FALSE(ObjectHasProperty(object, "missing", true));
    EXPECT_FALSE(ObjectHasProperty(object, "none", true));
}

TEST(Variant, RaisesAnAssertionForAMissingKeyAndThrows) {
    std::vector<std::string> records;
    const auto before =
        nuocore::debug::SetAssertionHandler([&records](const nuocore::debug::AssertionRecord& inRecord) {
            records.push_back(std::string(inRecord.mExpression) + "|" + inRecord.mMessage);
            return false;
        });
    const VariantObject object;
    EXPECT_THROW(ExtractPropertyFromObject(object, "lost"), boost::bad_any_cast);
    EXPECT_THROW(ExtractPropertyFromObject<bool>(object, "gone"), boost::bad_any_cast);
    nuocore::debug::SetAssertionHandler(before);
    EXPECT_THAT(records, ElementsAre("v.get()|Unable to find key: lost", "v.get()|Unable to find key: gone"));
}

TEST(Variant, ExtractsOnlyTheKindThatStandsThere) {
    VariantObject object;
    object["number"] = MakeValue(std::int64_t{7});
    EXPECT_EQ(ExtractPropertyFromObject<std::int64_t>(object, "number"), 7);
    EXPECT_THROW(ExtractPropertyFromObject<std::uint64_t>(object, "number"), boost::bad_any_cast);
    EXPECT_THROW(ExtractPropertyFromObject<UTF8String>(object, "number"), boost::bad_any_cast);
    EXPECT_EQ(&ExtractPropertyFromObject(object, "number"), object["number"].get());
}

TEST(Variant, ExtractsTextOfEveryStringKind) {
    VariantObject object;
    object["narrow"] = MakeValue(UTF8String("gr\xC3\xBCn"));
    object["wide"] = MakeValue(UTF16String(u"gr\u00FCn"));
    object["interned"] = MakeValue(ImmutableString("gr\xC3\xBCn"));
    object["number"] = MakeValue(std::int64_t{7});
    for (const char* const key : {"narrow", "wide", "interned"}) {
        EXPECT_EQ(ExtractTextFromObject(object, key), "gr\xC3\xBCn") << key;
    }
    EXPECT_THROW(ExtractTextFromObject(object, "number"), boost::bad_any_cast);
}

TEST(Variant, OrdersKeysByUnsignedBytes) {
    VariantObject object;
    for (const char* const key : {"b", "\xC3\xA9", "B", "a-b", "a", ""}) {
        object[key] = MakeValue(true);
    }
    std::vector<std::string> keys;
    for (const auto& [key, value] : object) {
        keys.emplace_back(key);
    }
    EXPECT_THAT(keys, ElementsAre("", "B", "a", "a-b", "b", "\xC3\xA9"));
}

}  // namespace
