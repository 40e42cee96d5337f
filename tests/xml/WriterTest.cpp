#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

#include "doubles/NuocoreWatch.h"
#include "nuocore/JSON.h"
#include "nuocore/Variant.h"
#include "nuoplexasupport/Constants.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {
namespace {

using doubles::AssertionWatch;
using nuocore::serialization::AddToObject;
using nuocore::serialization::MakeValue;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kHeader = R"(<?xml version="1.0" encoding="utf-8" ?>)";

VariantObject Object(std::initializer_list<std::pair<const char*, VariantValue>> inEntries) {
    VariantValue object = VariantObject();
    for (const auto& [key, value] : inEntries) {
        AddToObject(object, key, value, false);
    }
    return boost::any_cast<VariantObject>(object);
}

VariantValue Text(const char* inText) { return UTF8String(inText); }

std::string Written(const VariantObject& inObject, const char* inRoot = "message") {
    const VariantValue value(inObject);
    return std::string(CreateXMLPayload(value, inRoot));
}

std::string WrittenUnder(const char* inKey, VariantValue inValue) {
    return Written(Object({{inKey, std::move(inValue)}}));
}

std::string Message(const std::string& inContent) { return kHeader + "<message>" + inContent + "</message>"; }

class Writer : public testing::Test {
  protected:
    static std::string Record(const std::string& inMessage) {
        return "PlexaXMLSupport|0|nuoplexasupport::GetXMLUTF8String|false|" + inMessage;
    }
    AssertionWatch mAssertions;
};

TEST_F(Writer, TheHeaderIsThirtyNineBytes) { EXPECT_EQ(kHeader.size(), 39U); }

TEST_F(Writer, AnEmptyDictionaryIsNeverSelfClosed) {
    EXPECT_EQ(Written({}), Message(""));
    EXPECT_EQ(WrittenUnder("k", VariantObject()), Message("<k></k>"));
    EXPECT_EQ(WrittenUnder("k", Text("")), Message("<k></k>"));
    EXPECT_EQ(WrittenUnder("k", VariantValue()), Message("<k></k>"));
}

TEST_F(Writer, OnlyADictionaryOfNothingButAttributesIsSelfClosed) {
    const VariantObject attributes = Object({{"x", Text("1")}});
    EXPECT_EQ(Written(Object({{"__attributes__", attributes}})), kHeader + R"(<message x="1"/>)");
    EXPECT_EQ(Written(Object({{"__attributes__", VariantObject()}})), kHeader + "<message/>");
    EXPECT_EQ(Written(Object({{"__attributes__", attributes}, {"a", Text("")}})),
              kHeader + R"(<message x="1"><a></a></message>)");
}

TEST_F(Writer, AttributesChildrenAndEscapingGoTogether) {
    const VariantObject request = Object({{"__attributes__", Object({{"version", Text("2")}})},
                                          {"command", Text("install")},
                                          {"flags", Object({{"silent", true}})},
                                          {"name", Text("a<b")}});
    EXPECT_EQ(Written(request, "request"),
              kHeader +
                  "<request version=\"2\"><command>install</command><flags><silent>true</silent></flags>"
                  "<name>a&lt;b</name></request>");
    EXPECT_EQ(Written(Object({{"__attributes__", Object({{"version", Text("2")}})}}), "request"),
              kHeader + "<request version=\"2\"/>");
}

TEST_F(Writer, FiveBytesAreEscapedEverywhere) {
    EXPECT_EQ(WrittenUnder("a", Text("x\"y'z&")), Message("<a>x&quot;y&apos;z&amp;</a>"));
    EXPECT_EQ(WrittenUnder("a", Text("<>")), Message("<a>&lt;&gt;</a>"));
    EXPECT_EQ(WrittenUnder("a<b", Text("")), Message("<a&lt;b></a&lt;b>"));
    EXPECT_EQ(Written({}, "r&t"), kHeader + "<r&amp;t></r&amp;t>");
    EXPECT_EQ(Written(Object({{"__attributes__", Object({{"x'", Text("x\"y'z&")}})}})),
              kHeader + "<message x&apos;=\"x&quot;y&apos;z&amp;\"/>");
}

TEST_F(Writer, OtherBytesPassUnchanged) {
    EXPECT_EQ(WrittenUnder("a", Text("\x01\t\n\xC3\xBC\xFF")), Message("<a>\x01\t\n\xC3\xBC\xFF</a>"));
}

TEST_F(Writer, ATextIsCutAtItsFirstNul) {
    EXPECT_EQ(WrittenUnder("a", UTF8String("one\0two", 7)), Message("<a>one</a>"));
    EXPECT_EQ(WrittenUnder("a", UTF16String(u"one\0two", 7)), Message("<a>one</a>"));
    EXPECT_EQ(WrittenUnder("a", ImmutableString(std::string_view("one\0two", 7))), Message("<a>one</a>"));
    VariantObject object;
    object[UTF8String("k\0x", 3)] = MakeValue(UTF8String("v"));
    EXPECT_EQ(Written(object), Message("<k>v</k>"));
}

TEST_F(Writer, EveryStringKindIsWrittenAsUTF8) {
    const Guid guid = *Guid::Parse("01234567-89ab-cdef-0123-456789ABCDEF");
    EXPECT_EQ(WrittenUnder("a", UTF16String(u"\u00FC\U0001F600&")),
              Message("<a>\xC3\xBC\xF0\x9F\x98\x80&amp;</a>"));
    EXPECT_EQ(WrittenUnder("a", ImmutableString("i<")), Message("<a>i&lt;</a>"));
    EXPECT_EQ(WrittenUnder("a", guid), Message("<a>01234567-89ab-cdef-0123-456789abcdef</a>"));
    EXPECT_EQ(WrittenUnder("a", true), Message("<a>true</a>"));
    EXPECT_EQ(WrittenUnder("a", false), Message("<a>false</a>"));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Writer, NumbersAndArraysGiveTheirMarkersAfterAnAssertion) {
    EXPECT_EQ(WrittenUnder("count", std::int64_t{5}), Message("<count><ERROR_INT64_T/></count>"));
    EXPECT_EQ(WrittenUnder("count", std::uint64_t{5}), Message("<count><ERROR_UINT64_T/></count>"));
    EXPECT_EQ(WrittenUnder("count", 5.0), Message("<count><ERROR_DOUBLE/></count>"));
    EXPECT_EQ(WrittenUnder("count", VariantArray()), Message("<count><ERROR_ARRAY/></count>"));
    EXPECT_THAT(
        mAssertions.Records(),
        ElementsAre(Record("int64_t variant type in GetXMLUTF8String with no well defined expected output"),
                    Record("uint64_t variant type in GetXMLUTF8String with no well defined expected output"),
                    Record("double variant type in GetXMLUTF8String with no well defined expected output"),
                    Record("array variant type in GetXMLUTF8String with no well defined expected output")));
}

TEST_F(Writer, ForeignTypesGiveTheGeneralMarkerAndNameTheirType) {
    EXPECT_EQ(WrittenUnder("a", 5), Message("<a><ERROR/></a>"));
    EXPECT_EQ(WrittenUnder("a", short{5}), Message("<a><ERROR/></a>"));
    EXPECT_EQ(WrittenUnder("a", static_cast<const char*>("text")), Message("<a><ERROR/></a>"));
    EXPECT_EQ(WrittenUnder("a", std::string("text")), Message("<a><ERROR/></a>"));
    const std::string text = "unexpected variant type in GetXMLUTF8String: ";
    EXPECT_THAT(
        mAssertions.Records(),
        ElementsAre(Record(text + typeid(int).name()), Record(text + typeid(short).name()),
                    Record(text + typeid(const char*).name()), Record(text + typeid(std::string).name())));
}

TEST_F(Writer, KeysComeInTheOrderOfTheirBytes) {
    EXPECT_EQ(Written(Object({{"b", Text("")}, {"B", Text("")}, {"a", Text("")}})),
              Message("<B></B><a></a><b></b>"));
    EXPECT_EQ(Written(Object({{"alpha", Text("")}, {"Zeta", Text("")}, {"a-b", Text("")}, {"a", Text("")}})),
              Message("<Zeta></Zeta><a></a><a-b></a-b><alpha></alpha>"));
    EXPECT_EQ(Written(Object({{"\xC3\xBC", Text("")}, {"z", Text("")}})),
              Message("<z></z><\xC3\xBC></\xC3\xBC>"));
}

TEST_F(Writer, AttributeValuesAreWrittenLikeContent) {
    EXPECT_EQ(Written(Object({{"__attributes__", Object({{"b", true}, {"n", std::int64_t{1}}})}})),
              kHeader + "<message b=\"true\" n=\"<ERROR_INT64_T/>\"/>");
    EXPECT_EQ(Written(Object({{"__attributes__", Object({{"o", Object({{"x", Text("1")}})}})}})),
              kHeader + "<message o=\"<x>1</x>\"/>");
}

TEST_F(Writer, AnAttributeEntryThatIsNoObjectThrows) {
    EXPECT_THROW(Written(Object({{"__attributes__", Text("x")}})), boost::bad_any_cast);
    EXPECT_THROW(WrittenUnder("a", Object({{"__attributes__", std::int64_t{1}}})), boost::bad_any_cast);
}

TEST_F(Writer, AStreamKeepsWhatWasWrittenBeforeAFailure) {
    nuocore::oUTF8StringStream stream;
    const VariantValue value = Object({{"a", Text("1")}, {"b", Object({{"__attributes__", Text("x")}})}});
    EXPECT_THROW(WriteXMLElement("message", value, stream), boost::bad_any_cast);
    EXPECT_EQ(stream.str(), "<message><a>1</a><b");
}

TEST_F(Writer, AMissingValueIsWrittenLikeAnEmptyOne) {
    VariantObject object = Object({{"a", Text("1")}});
    object["k"] = nullptr;
    EXPECT_EQ(Written(object), Message("<a>1</a><k></k>"));
}

TEST_F(Writer, TheKeyOfAttributesIsOnlySpecialForTheElementItself) {
    nuocore::oUTF8StringStream stream;
    GetXMLUTF8String(Object({{"__attributes__", Object({{"x", Text("1")}})}}), stream);
    EXPECT_EQ(stream.str(), "<__attributes__><x>1</x></__attributes__>");
}

TEST_F(Writer, TheCallersObjectStaysAsItWas) {
    const VariantObject object = Object({{"__attributes__", Object({{"x", Text("1")}})}, {"a", Text("1")}});
    Written(object);
    EXPECT_EQ(nuocore::serialization::GetJSONUTF8String(object, false),
              R"({"__attributes__":{"x":"1"},"a":"1"})");
}

TEST_F(Writer, AValueThatIsNoObjectIsWrittenAsContent) {
    EXPECT_EQ(CreateXMLPayload(Text("t"), "r"), (kHeader + "<r>t</r>").c_str());
}

TEST_F(Writer, WhatIsWrittenReadsBack) {
    const VariantObject object = Object(
        {{"a", Text("x & <y>")},
         {"b", Object({{"__attributes__", Object({{"k", Text("\"v\"")}})}, {"c", Text("\xC3\xBC")}})}});
    const auto value = ParsePlexaXMLPayload(CreateXMLPayload(object, "message"));
    EXPECT_EQ(nuocore::serialization::GetJSONUTF8String(*value, false),
              nuocore::serialization::GetJSONUTF8String(object, false));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST(Constants, HaveTheirTexts) {
    EXPECT_EQ(kXMLRootTagDefault_Message, "message");
    EXPECT_EQ(kXMLRootTagDefault_Request, "request");
    EXPECT_EQ(kXMLToJSONKey_Attributes, "__attributes__");
}

}  // namespace
}  // namespace nuoplexasupport
