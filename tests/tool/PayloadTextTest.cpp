#include "PayloadText.h"

#include <gtest/gtest.h>

#include "Arrival.h"
#include "Failure.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

TEST(PayloadText, TheFirstByteAfterWhiteSpaceNamesTheFormat) {
    EXPECT_EQ(FormatOf("<a/>"), PayloadFormat::kXML);
    EXPECT_EQ(FormatOf(" \t\n\v\f\r{}"), PayloadFormat::kJSON);
    EXPECT_EQ(FormatOf("[1]"), PayloadFormat::kJSON);
    EXPECT_EQ(FormatOf("words"), std::nullopt);
    EXPECT_EQ(FormatOf("  "), std::nullopt);
    EXPECT_EQ(FormatOf(""), std::nullopt);
    EXPECT_EQ(FormatOf("\xA0{}"), std::nullopt);
}

TEST(PayloadText, APayloadWhoseRootIsNoObjectCannotBeDecoded) {
    for (const char* const text : {"[1]", "5", "\"a\"", "null"}) {
        EXPECT_THROW(DecodePayload(text, PayloadFormat::kJSON), Failure) << text;
    }
}

TEST(PayloadText, ABrokenPayloadSaysWhatItWasTakenFor) {
    try {
        DecodePayload("<a><b></a>", PayloadFormat::kXML);
        FAIL() << "it was decoded";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Code(), kExitFailure);
        EXPECT_EQ(std::string(failure.what()).find("cannot decode the payload as XML: "), 0U);
    }
}

TEST(PayloadText, NothingInALineCanSteerATerminal) {
    const UTF8String hostile("\x1B[2J\x7F\xC2\x9B\xC3\xA4\n");
    EXPECT_EQ(JSONLine(VariantValue(hostile)), "\"\\u001b[2J\\u007f\\u009b\xC3\xA4\\n\"");
    EXPECT_EQ(PlainLine(hostile), "\\u001b[2J\\u007f\\u009b\xC3\xA4\\n");
    EXPECT_EQ(PlainLine(""), "");
}

TEST(PayloadText, OnlyJSONEscapesQuotes) {
    EXPECT_EQ(JSONLine(VariantValue(UTF8String("\\\"\\"))), R"("\\\"\\")");
    EXPECT_EQ(PlainLine("\\\"\\\\\"\""), R"(\\"\\\\"")");
}

TEST(PayloadText, AnArrivalIsShownByItsKind) {
    VariantObject dictionary;
    dictionary["a"] = MakeValue(UTF8String("1"));
    const Arrival message{Arrival::Kind::kDictionary, "t", {}, {}, {}, dictionary};
    EXPECT_EQ(AsJSON(message), R"({"payload":{"a":"1"},"type":"t"})");
    EXPECT_EQ(AsText(message, "T"), R"(T {"a":"1"})");
    const Arrival raw{Arrival::Kind::kRaw, "t", {}, "APP-1", "two\nlines", {}};
    EXPECT_EQ(AsJSON(raw), R"({"raw":"two\nlines","sender":"APP-1","type":"t"})");
    EXPECT_EQ(AsText(raw, "T"), R"(T "two\nlines" from APP-1)");
    const Arrival notification{Arrival::Kind::kNotification, "n", "s", {}, {}, dictionary};
    EXPECT_EQ(AsJSON(notification), R"({"notification":"n","payload":{"a":"1"},"sub-type":"s"})");
    EXPECT_EQ(AsText(notification, "N"), R"(notification N s {"a":"1"})");
}

}  // namespace orvane::plexa::tool
