#include "PayloadOptions.h"

#include <gtest/gtest.h>

#include "Failure.h"

namespace orvane::plexa::tool {

using nuocore::serialization::VariantValue;

namespace {

std::string JSONOf(const std::vector<std::string>& inWords) {
    return JSONLine(VariantValue(DictionaryOf(inWords)));
}

ExitCode CodeOf(const std::vector<std::string>& inWords) {
    try {
        DictionaryOf(inWords);
        return kExitSuccess;
    } catch (const Failure& failure) {
        return failure.Code();
    }
}

}  // namespace

TEST(PayloadOptions, NoWordsAreAnEmptyDictionary) { EXPECT_EQ(JSONOf({}), "{}"); }

TEST(PayloadOptions, APairEndsItsKeyAtTheFirstEqualsSign) {
    EXPECT_EQ(JSONOf({"a=1", "b=x=y", "c=", "d:e=f"}), R"({"a":"1","b":"x=y","c":"","d:e":"f"})");
}

TEST(PayloadOptions, APairWithAColonTakesJSON) {
    EXPECT_EQ(JSONOf({"n:=1", "l:=[1,\"a\"]", "t:=true", "e:=null"}),
              R"({"e":null,"l":[1,"a"],"n":1,"t":true})");
}

TEST(PayloadOptions, OneObjectIsTakenAsItIs) { EXPECT_EQ(JSONOf({R"( {"a":{"b":1}})"}), R"({"a":{"b":1}})"); }

TEST(PayloadOptions, WordsThatAreNoPairsAreRefused) {
    EXPECT_EQ(CodeOf({"word"}), kExitUsage);
    EXPECT_EQ(CodeOf({"=value"}), kExitUsage);
    EXPECT_EQ(CodeOf({":=1"}), kExitUsage);
    EXPECT_EQ(CodeOf({"a:=[1"}), kExitUsage);
    EXPECT_EQ(CodeOf({"a=1", "a=2"}), kExitUsage);
    EXPECT_EQ(CodeOf({"[1]"}), kExitFailure);
    EXPECT_EQ(CodeOf({"{broken"}), kExitFailure);
}

TEST(PayloadOptions, WhatHasNoFormInXMLIsNotSent) {
    EXPECT_THROW(SendableText(DictionaryOf({"n:=1"}), PayloadFormat::kXML, "message"), Failure);
    EXPECT_EQ(SendableText(DictionaryOf({"n:=1"}), PayloadFormat::kJSON, ""), "{\"n\":1}");
    EXPECT_EQ(SendableText(DictionaryOf({"n=1"}), PayloadFormat::kXML, "m"),
              "<?xml version=\"1.0\" encoding=\"utf-8\" ?><m><n>1</n></m>");
}

}  // namespace orvane::plexa::tool
