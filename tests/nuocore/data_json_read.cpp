// JSON into variants: kinds, limits, broken texts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "data_support.h"
#include "nuocore/JSON.h"

namespace {

using namespace nuocore::serialization;
using data_test::CommaLocale;
using nuocore::UTF8String;
using testing::HasSubstr;

template <typename T>
T ParsedAs(std::string_view inText) {
    return boost::any_cast<T>(*ParseJSON(inText));
}

std::string ErrorOf(std::string_view inText, const JSONLimits& inLimits = {}) {
    try {
        ParseJSON(inText, inLimits);
    } catch (const JSONError& error) {
        return error.what();
    }
    return "no error";
}

std::string Nested(std::size_t inDepth) { return std::string(inDepth, '[') + std::string(inDepth, ']'); }

TEST(ParseJSON, GivesEachKindItsType) {
    EXPECT_EQ(ParsedAs<UTF8String>("\"text\""), "text");
    EXPECT_EQ(ParsedAs<std::int64_t>("42"), 42);
    EXPECT_EQ(ParsedAs<std::int64_t>("-42"), -42);
    EXPECT_EQ(ParsedAs<double>("0.5"), 0.5);
    EXPECT_EQ(ParsedAs<double>("1e2"), 100.0);
    EXPECT_EQ(ParsedAs<double>("1.0"), 1.0);
    EXPECT_TRUE(ParsedAs<bool>("true"));
    EXPECT_FALSE(ParsedAs<bool>("false"));
    EXPECT_TRUE(ParseJSON("null")->empty());
    EXPECT_TRUE(ParsedAs<VariantObject>("{}").empty());
    EXPECT_TRUE(ParsedAs<VariantArray>(" [ ] ").empty());
}

TEST(ParseJSON, ChoosesTheIntegerTypeByRange) {
    EXPECT_EQ(ParsedAs<std::int64_t>("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(ParsedAs<std::int64_t>("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(ParsedAs<std::uint64_t>("9223372036854775808"), std::uint64_t{1} << 63U);
    EXPECT_EQ(ParsedAs<std::uint64_t>("18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(ParsedAs<double>("18446744073709551616"), 18446744073709551616.0);
    EXPECT_EQ(ParsedAs<double>("-9223372036854775809"), -9223372036854775809.0);
    EXPECT_EQ(ParsedAs<std::int64_t>("0"), 0);
}

TEST(ParseJSON, BuildsNestedValues) {
    const auto root = ParsedAs<VariantObject>(R"({"list":[1,{"deep":"x"},[]],"object":{"a":null}})");
    ASSERT_EQ(root.size(), 2U);
    const auto& list = boost::any_cast<const VariantArray&>(*root.at("list"));
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(boost::any_cast<std::int64_t>(*list[0]), 1);
    EXPECT_EQ(ExtractPropertyFromObject<UTF8String>(boost::any_cast<const VariantObject&>(*list[1]), "deep"),
              "x");
    EXPECT_TRUE(boost::any_cast<const VariantArray&>(*list[2]).empty());
    EXPECT_TRUE(boost::any_cast<const VariantObject&>(*root.at("object")).at("a")->empty());
}

TEST(ParseJSON, LetsTheLastOfRepeatedKeysCount) {
    const auto object = ParsedAs<VariantObject>(R"({"a":1,"b":2,"a":{"c":3}})");
    ASSERT_EQ(object.size(), 2U);
    EXPECT_EQ(boost::any_cast<const VariantObject&>(*object.at("a")).size(), 1U);
}

TEST(ParseJSON, ResolvesEscapes) {
    EXPECT_EQ(ParsedAs<UTF8String>(R"("\"\\\/\b\f\n\r\t\u0041\u00e9\ud83d\ude00")"),
              "\"\\/\b\f\n\r\tA\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(ParsedAs<UTF8String>("\"a\\u0000b\""), UTF8String("a\0b", 3));
    const auto object = ParsedAs<VariantObject>("{\"k\\u0000\\n\":1}");
    EXPECT_EQ(object.begin()->first, UTF8String("k\0\n", 3));
}

TEST(ParseJSON, JoinsLongTextsFromTheirParts) {
    std::string text = "\"";
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        text += "part\\n";
        expected += "part\n";
    }
    text += '"';
    EXPECT_EQ(ParsedAs<UTF8String>(text), UTF8String(expected));
    const auto object = ParsedAs<VariantObject>("{" + text + ":" + text + ",\"next\":\"short\"}");
    EXPECT_EQ(ExtractTextFromObject(object, expected), UTF8String(expected));
    EXPECT_EQ(ExtractTextFromObject(object, "next"), "short");
}

TEST(ParseJSON, ReadsTheNearestDouble) {
    std::mt19937_64 random(5);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) {
            continue;
        }
        const UTF8String text = GetJSONUTF8String(value, false);
        ASSERT_EQ(ParsedAs<double>(text), value) << text;
    }
}

TEST(ParseJSON, RefusesNumbersTooLargeAndTakesTinyOnesForZero) {
    EXPECT_EQ(ParsedAs<double>("1e-400"), 0.0);
    EXPECT_TRUE(std::signbit(ParsedAs<double>("-1e-400")));
    EXPECT_EQ(ParsedAs<double>("4.9e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(ParsedAs<double>("1.7976931348623157e308"), std::numeric_limits<double>::max());
    EXPECT_THAT(ErrorOf("1e400"), HasSubstr("number too large"));
    EXPECT_THAT(ErrorOf("-1e309"), HasSubstr("number too large"));
    EXPECT_THAT(ErrorOf("[1e99999999999]"), HasSubstr("Cannot read JSON"));
    EXPECT_THAT(ErrorOf(std::string(400, '9')), HasSubstr("number too large"));
    EXPECT_EQ(ParsedAs<double>("0." + std::string(400, '0') + "1"), 0.0);
    EXPECT_EQ(ParsedAs<double>("1" + std::string(300, '0')), 1e300);
}

TEST(ParseJSON, ReadsNumbersWhateverTheHostsLocaleIs) {
    const CommaLocale hostLocale;
    EXPECT_EQ(ParsedAs<double>("1234.5"), 1234.5);
    EXPECT_EQ(GetJSONUTF8String(1234567.25, false), "1234567.25");
    EXPECT_EQ(GetJSONUTF8String(std::int64_t{1234567}, false), "1234567");
}

TEST(ParseJSON, RefusesWhatIsNoJSON) {
    for (const char* const text : {"",
                                   " ",
                                   "{",
                                   "[",
                                   "\"",
                                   "{\"a\"",
                                   "{\"a\":",
                                   "{\"a\":1",
                                   "{\"a\":1,",
                                   "[1,]",
                                   "{\"a\":1,}",
                                   "{a:1}",
                                   "{'a':1}",
                                   "[1 2]",
                                   "1 2",
                                   "{} x",
                                   "// c\n1",
                                   "/**/1",
                                   "01",
                                   "+1",
                                   ".5",
                                   "1.",
                                   "1e",
                                   "-",
                                   "0x10",
                                   "NaN",
                                   "Infinity",
                                   "tru",
                                   "nul",
                                   "True",
                                   "\"\\x\"",
                                   "\"\\u12\"",
                                   "\"\\ud800\"",
                                   "\"\\ud800\\u0041\"",
                                   "\"\\udc00\"",
                                   "\"a\nb\"",
                                   "\"\x01\"",
                                   "\xEF\xBB\xBF{}",
                                   "]",
                                   "}",
                                   ":",
                                   ","}) {
        EXPECT_THAT(ErrorOf(text), HasSubstr("Cannot read JSON")) << text;
    }
    EXPECT_THAT(ErrorOf(std::string_view("1\0", 2)), HasSubstr("Cannot read JSON"));
    EXPECT_THAT(ErrorOf(std::string_view("\0", 1)), HasSubstr("Cannot read JSON"));
}

TEST(ParseJSON, RefusesBrokenUTF8) {
    for (const char* const text : {"\"\x80\"", "\"\xC0\xAF\"", "\"\xED\xA0\x80\"", "\"\xF4\x90\x80\x80\"",
                                   "\"\xE2\x82\"", "{\"\xFF\":1}", "\"\xF8\x88\x80\x80\x80\""}) {
        EXPECT_THAT(ErrorOf(text), HasSubstr("Cannot read JSON")) << text;
    }
}

TEST(ParseJSON, RefusesATextCutShortAtAnyByte) {
    const std::string text = R"({"a":[1.5e3,-2,true,null,"x\u00e9\ud83d\ude00y"],"b":{"c":"gr)"
                             "\xC3\xBC"
                             R"(n"}})";
    ASSERT_NO_THROW(ParseJSON(text));
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_THAT(ErrorOf(std::string_view(text).substr(0, size)), HasSubstr("Cannot read JSON")) << size;
    }
}

TEST(ParseJSON, NamesThePlaceOfAnError) {
    EXPECT_THAT(ErrorOf("[1, 2, x]"), HasSubstr("at byte 7"));
    EXPECT_THAT(ErrorOf("{} {}"), HasSubstr("something stands behind the value at byte 3"));
}

TEST(ParseJSON, BoundsSizeDepthAndCount) {
    JSONLimits limits;
    limits.mMaxBytes = 10;
    EXPECT_EQ(ErrorOf("[1,2,3,45]", limits), "no error");
    EXPECT_THAT(ErrorOf("[1,2,3,456]", limits), HasSubstr("more than 10 bytes"));
    limits = {};
    limits.mMaxDepth = 3;
    EXPECT_EQ(ErrorOf("[[[1]]]", limits), "no error");
    EXPECT_EQ(ErrorOf("{\"a\":{\"a\":{}}}", limits), "no error");
    EXPECT_THAT(ErrorOf("[[[[]]]]", limits), HasSubstr("Cannot read JSON"));
    EXPECT_THAT(ErrorOf("{\"a\":{\"a\":{\"a\":{}}}}", limits), HasSubstr("Cannot read JSON"));
    limits = {};
    limits.mMaxValues = 4;
    EXPECT_EQ(ErrorOf("[1,2,3]", limits), "no error");
    EXPECT_THAT(ErrorOf("[1,2,3,4]", limits), HasSubstr("too many values"));
    EXPECT_THAT(ErrorOf("[1,{\"a\":[],\"b\":{}}]", limits), HasSubstr("too many values"));
}

TEST(ParseJSON, SurvivesDeepNestingWhateverTheLimitSays) {
    JSONLimits limits;
    limits.mMaxDepth = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(ErrorOf(Nested(512), limits), "no error");
    EXPECT_THAT(ErrorOf(Nested(513), limits), HasSubstr("Cannot read JSON"));
    EXPECT_THAT(ErrorOf(std::string(1000000, '['), limits), HasSubstr("Cannot read JSON"));
    EXPECT_EQ(ErrorOf(Nested(256)), "no error");
    EXPECT_THAT(ErrorOf(Nested(257)), HasSubstr("Cannot read JSON"));
}

}  // namespace
