// Variants into JSON.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "nuocore/JSON.h"

namespace {

using namespace nuocore::serialization;
using nuocore::ImmutableString;
using nuocore::UTF16String;
using nuocore::UTF8String;
using nuocore::utility::Guid;
using testing::HasSubstr;

UTF8String Written(const VariantValue& inValue) { return GetJSONUTF8String(inValue, false); }

VariantValue NestedArrays(std::size_t inDepth) {
    VariantValue value = VariantArray();
    for (std::size_t i = 1; i < inDepth; ++i) {
        value = VariantArray{MakeValue(value)};
    }
    return value;
}

TEST(WriteJSON, WritesEachKind) {
    EXPECT_EQ(Written(VariantValue()), "null");
    EXPECT_EQ(Written(true), "true");
    EXPECT_EQ(Written(false), "false");
    EXPECT_EQ(Written(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(Written(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(Written(UTF8String("text")), "\"text\"");
    EXPECT_EQ(Written(UTF16String(u"gr\u00FCn")), "\"gr\xC3\xBCn\"");
    EXPECT_EQ(Written(ImmutableString("interned")), "\"interned\"");
    EXPECT_EQ(Written(Guid::Null()), "\"00000000-0000-0000-0000-000000000000\"");
    EXPECT_EQ(Written(VariantObject()), "{}");
    EXPECT_EQ(Written(VariantArray()), "[]");
}

TEST(WriteJSON, WritesDoublesSoThatTheyReadBackAsDoubles) {
    EXPECT_EQ(Written(1.0), "1.0");
    EXPECT_EQ(Written(-0.0), "-0.0");
    EXPECT_EQ(Written(0.1), "0.1");
    EXPECT_EQ(Written(1e300), "1e+300");
    EXPECT_EQ(Written(5e-324), "5e-324");
    EXPECT_EQ(Written(123456789.0), "123456789.0");
    for (const double value : {1.0, -0.0, 0.1, 1e300, 5e-324, 1e15, 123456789.0, 1e21}) {
        EXPECT_EQ(boost::any_cast<double>(*ParseJSON(Written(value))), value);
    }
}

TEST(WriteJSON, WritesNullForWhatJSONCannotExpress) {
    EXPECT_EQ(Written(std::nan("")), "null");
    EXPECT_EQ(Written(std::numeric_limits<double>::infinity()), "null");
    EXPECT_EQ(Written(-std::numeric_limits<double>::infinity()), "null");
    EXPECT_EQ(Written(VariantArray{nullptr}), "[null]");
}

TEST(WriteJSON, EscapesWhatMustBeEscaped) {
    EXPECT_EQ(Written(UTF8String("\"\\/\b\f\n\r\t\x01\x1F\x7F")),
              "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\\u001f\x7F\"");
    EXPECT_EQ(Written(UTF8String("a\0b", 3)), "\"a\\u0000b\"");
    VariantObject object;
    object["k\"\n"] = MakeValue(true);
    EXPECT_EQ(Written(object), "{\"k\\\"\\n\":true}");
}

TEST(WriteJSON, ReplacesIllFormedText) {
    EXPECT_EQ(Written(UTF8String("a\xFF"
                                 "b")),
              "\"a\xEF\xBF\xBD"
              "b\"");
    EXPECT_EQ(Written(UTF8String("\xFF\n")), "\"\xEF\xBF\xBD\\n\"");
    EXPECT_EQ(Written(UTF16String(u"\xD800")), "\"\xEF\xBF\xBD\"");
    EXPECT_EQ(Written(ImmutableString("\xC3")), "\"\xEF\xBF\xBD\"");
}

TEST(WriteJSON, SortsKeysAndSeparatesMembers) {
    VariantObject object;
    object["b"] = MakeValue(VariantArray{MakeValue(std::int64_t{1}), MakeValue(UTF8String("x"))});
    object["B"] = MakeValue(VariantValue());
    object["a"] = MakeValue(VariantObject());
    EXPECT_EQ(Written(object), R"({"B":null,"a":{},"b":[1,"x"]})");
    EXPECT_EQ(GetJSONUTF8String(object, true),
              "{\n"
              "  \"B\": null,\n"
              "  \"a\": {},\n"
              "  \"b\": [\n"
              "    1,\n"
              "    \"x\"\n"
              "  ]\n"
              "}");
}

TEST(WriteJSON, GivesTheSameTextInUTF16) {
    VariantObject object;
    object["gr\xC3\xBCn"] = MakeValue(UTF8String("\xF0\x9F\x98\x80"));
    EXPECT_EQ(GetJSONString(object, false), u"{\"gr\u00FCn\":\"\xD83D\xDE00\"}");
}

TEST(WriteJSON, ReadsBackWhatItWrote) {
    const std::string text =
        R"({"a":[1,-2.5,18446744073709551615,true,null,"x\n\u0001"],"b":{"c":{}},"d":[]})";
    EXPECT_EQ(Written(*ParseJSON(text)), UTF8String(text));
    EXPECT_EQ(Written(*ParseJSON(GetJSONUTF8String(*ParseJSON(text), true))), UTF8String(text));
}

TEST(WriteJSON, RefusesForeignValues) {
    EXPECT_THROW(Written(1), JSONError);
    EXPECT_THROW(Written("text"), JSONError);
    EXPECT_THROW(Written(VariantArray{MakeValue(1.0F)}), JSONError);
    if constexpr (!std::is_same_v<long long, std::int64_t>) {
        EXPECT_THROW(Written(1LL), JSONError);
    }
    EXPECT_THROW(GetJSONString(1, true), JSONError);
}

TEST(WriteJSON, BoundsTheDepth) {
    EXPECT_EQ(Written(NestedArrays(512)).size(), 1024U);
    EXPECT_THROW(Written(NestedArrays(513)), JSONError);
}

}  // namespace
