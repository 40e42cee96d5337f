#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/NuocoreWatch.h"
#include "nuocore/JSON.h"
#include "nuocore/Variant.h"
#include "nuocore/XML.h"
#include "xml/ComApartment.h"
#include "xml/PlexaMessageXMLParseHandler.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {
namespace {

using doubles::AssertionWatch;
using nuocore::serialization::ExtractPropertyFromObject;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kHandler = "nuoplexasupport::`anonymous-namespace'::PlexaMessageXMLParseHandler::";
constexpr const char* kAmbiguous =
    "> contained either nested tags or attributes AND test so the corresponding JSON data type is ambiguous "
    "(dictionary vs. string). Nested tags and attributes will be used to form a dictionary return value and text \"";

// The dictionary of a document as JSON text: every value that the reader makes is a string or an object.
std::string Read(const char* inXML) {
    return std::string(nuocore::serialization::GetJSONUTF8String(*ParsePlexaXMLPayload(inXML), false));
}

std::string EndElementRecord(const std::string& inExpressionAndMessage) {
    return std::string("PlexaXMLSupport|0|") + kHandler + "EndElement|" + inExpressionAndMessage;
}

class Reader : public testing::Test {
  protected:
    AssertionWatch mAssertions;
};

TEST_F(Reader, EmptyRootGivesAnEmptyDictionary) {
    EXPECT_EQ(Read("<message></message>"), "{}");
    EXPECT_EQ(Read("<message/>"), "{}");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, RootTextIsDroppedWithoutDiagnostic) {
    EXPECT_EQ(Read("<message>hello</message>"), "{}");
    EXPECT_EQ(Read("<message>head<a>1</a>tail</message>"), R"({"a":"1"})");
    EXPECT_EQ(Read("<message v='1'>hello</message>"), "{}");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, OfEqualSiblingsTheLastWinsAfterADiagnostic) {
    EXPECT_EQ(Read("<message><a>1</a><a>2</a></message>"), R"({"a":"2"})");
    EXPECT_THAT(mAssertions.Records(),
                ElementsAre(EndElementRecord("objectMap.count(tag) == 0|Found duplicate tag in "
                                             "Plexa XML payload: <a>")));
}

TEST_F(Reader, ADictionaryReplacesAnEqualSiblingAfterADiagnostic) {
    EXPECT_EQ(Read("<message><a>1</a><a><b>2</b></a></message>"), R"({"a":{"b":"2"}})");
    EXPECT_THAT(mAssertions.Records(),
                ElementsAre(EndElementRecord("objectMap.count(tag) == 0|Found duplicate tag in "
                                             "Plexa XML payload: <a>")));
    mAssertions.Clear();
    EXPECT_EQ(Read("<message><a><b>2</b></a><a>1</a><a>3</a></message>"), R"({"a":"3"})");
    EXPECT_EQ(mAssertions.Records().size(), 2U);
}

TEST_F(Reader, TextIsNotTrimmedButWhiteSpaceAloneIsNoContent) {
    EXPECT_EQ(Read("<message><a> x </a></message>"), R"({"a":" x "})");
    EXPECT_EQ(Read("<message><a>   </a></message>"), R"({"a":""})");
    EXPECT_EQ(Read("<message>\n  <a>1</a>\n\t<b>2</b>\r\n</message>"), R"({"a":"1","b":"2"})");
    EXPECT_EQ(Read("<message><a>&#32;&#9;&#10;&#13;</a></message>"), R"({"a":""})");
    // A no-break space is no white space here.
    EXPECT_EQ(Read("<message><a>\xC2\xA0</a></message>"), "{\"a\":\"\xC2\xA0\"}");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, TheFirstChildOfARootWithoutAttributesLosesItsAttributes) {
    EXPECT_EQ(Read("<message><a x=\"1\">t</a><b y=\"2\">u</b></message>"),
              R"({"a":"t","b":{"__attributes__":{"y":"2"}}})");
    EXPECT_THAT(
        mAssertions.Records(),
        ElementsAre(EndElementRecord("mLatestCharacters.str().empty()|Unsupported tag found in Plexa XML "
                                     "payload. <b" +
                                     std::string(kAmbiguous) + "u\" will be dropped.")));
}

TEST_F(Reader, TheFirstChildKeepsItsAttributesWhenItHasChildrenOrTheRootHasAttributes) {
    EXPECT_EQ(Read("<message><a x=\"1\"><b>2</b></a></message>"),
              R"({"a":{"__attributes__":{"x":"1"},"b":"2"}})");
    EXPECT_EQ(Read("<message v=\"5\"><a x=\"1\"/></message>"), R"({"a":{"__attributes__":{"x":"1"}}})");
    EXPECT_EQ(Read("<message><a x=\"1\"><b y=\"2\"/></a></message>"),
              R"({"a":{"__attributes__":{"x":"1"},"b":{"__attributes__":{"y":"2"}}}})");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, RootAttributesAreNotKept) {
    EXPECT_EQ(Read("<message v=\"5\"><a>1</a></message>"), R"({"a":"1"})");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, TextAfterAChildIsDroppedWithADiagnosticAndTextBeforeItWithout) {
    EXPECT_EQ(Read("<message><a><b>1</b>tail</a></message>"), R"({"a":{"b":"1"}})");
    EXPECT_THAT(
        mAssertions.Records(),
        ElementsAre(EndElementRecord("mLatestCharacters.str().empty()|Unsupported tag found in Plexa XML "
                                     "payload. <a" +
                                     std::string(kAmbiguous) + "tail\" will be dropped.")));
    mAssertions.Clear();
    EXPECT_EQ(Read("<message><a>head<b>1</b></a></message>"), R"({"a":{"b":"1"}})");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, TheAmbiguityDiagnosticComesBeforeTheDuplicateDiagnostic) {
    EXPECT_EQ(Read("<message><p>0</p><a>1</a><a y='2'>t</a></message>"),
              R"({"a":{"__attributes__":{"y":"2"}},"p":"0"})");
    const std::vector<std::string> brief = mAssertions.Brief();
    ASSERT_EQ(brief.size(), 2U);
    EXPECT_THAT(brief[0], testing::StartsWith("mLatestCharacters.str().empty()"));
    EXPECT_THAT(brief[1], testing::StartsWith("objectMap.count(tag) == 0"));
}

TEST_F(Reader, AttributesReplaceAChildNamedLikeTheirKey) {
    EXPECT_EQ(Read("<message v='1'><a x='1'><__attributes__>c</__attributes__></a></message>"),
              R"({"a":{"__attributes__":{"x":"1"}}})");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, ReferencesArriveResolvedAndJoined) {
    EXPECT_EQ(Read("<message><a>x&lt;y&amp;z&gt;&quot;&apos;&#65;</a></message>"), R"({"a":"x<y&z>\"'A"})");
    EXPECT_EQ(Read("<message><a> &amp; </a></message>"), R"({"a":" & "})");
    EXPECT_EQ(Read("<message><a>one<![CDATA[ two <b> ]]>three</a></message>"),
              R"({"a":"one two <b> three"})");
    EXPECT_EQ(Read("<message><a>one<!-- not me -->two</a></message>"), R"({"a":"onetwo"})");
}

TEST_F(Reader, NamesAndTextsBeyondASCIIAreUTF8) {
    EXPECT_EQ(Read("<message><gr\xC3\xBC\xC3\x9F>\xF0\x9F\x98\x80</gr\xC3\xBC\xC3\x9F></message>"),
              "{\"gr\xC3\xBC\xC3\x9F\":\"\xF0\x9F\x98\x80\"}");
}

TEST_F(Reader, QualifiedNamesAndNamespaceDeclarationsAreTakenAsTheyStand) {
    EXPECT_EQ(Read("<message v='1'><n:a xmlns:n='urn:x' n:k='v'/></message>"),
              R"({"n:a":{"__attributes__":{"n:k":"v","xmlns:n":"urn:x"}}})");
}

TEST_F(Reader, AnInstallEventIsReadAsStringsOnly) {
    EXPECT_EQ(
        Read(
            "<message><command>module-install</command><event-type>progress</event-type>"
            "<product-sapcode>QRTX</product-sapcode><product-vardo-version>20.0</product-vardo-version>"
            "<module-id>KQ7L</module-id><cancellable>true</cancellable><progress-data><progress-value>55</progress-value></progress-data>"
            "</message>"),
        R"({"cancellable":"true","command":"module-install","event-type":"progress","module-id":"KQ7L",)"
        R"("product-sapcode":"QRTX","product-vardo-version":"20.0","progress-data":{"progress-value":"55"}})");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, WhatIsNoAcceptableXMLThrows) {
    for (const char* text : {"", "<a>", "<a></b>", "<a>\x01</a>", "<a>&unknown;</a>", "<a/><b/>",
                             " <?xml version='1.0'?><a/>", "\v<a/>", "<a b='1' b='2'/>", "<a>\xFF</a>"}) {
        EXPECT_THROW(ParsePlexaXMLPayload(text), nuocore::xml::XMLError) << text;
    }
}

TEST_F(Reader, HostileDocumentsAreRefused) {
    UTF8String deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<a>";
    }
    EXPECT_THROW(ParsePlexaXMLPayload(deep), nuocore::xml::XMLError);
    EXPECT_THROW(
        ParsePlexaXMLPayload("<!DOCTYPE m [<!ENTITY x SYSTEM 'file:///etc/hostname'>]><m><a>&x;</a></m>"),
        nuocore::xml::XMLError);
    UTF8String bomb = "<!DOCTYPE m [<!ENTITY e0 'lollollollollollol'>";
    for (int i = 1; i < 12; ++i) {
        const std::string previous = "&e" + std::to_string(i - 1) + ";";
        bomb += "<!ENTITY e" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j) {
            bomb += previous;
        }
        bomb += "'>";
    }
    bomb += "]><m><a>&e11;</a></m>";
    EXPECT_THROW(ParsePlexaXMLPayload(bomb), nuocore::xml::XMLError);
}

TEST_F(Reader, AnEmptyElementReadsAsTheEmptyTextHoweverItIsWritten) {
    EXPECT_EQ(Read("<message><a></a><b/></message>"), R"({"a":"","b":""})");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Reader, TheDictionaryHoldsNothingButObjectsAndUTF8Strings) {
    const auto value = ParsePlexaXMLPayload("<message v='1'><a>true</a><b x='5'><c/></b></message>");
    const auto& object = boost::any_cast<const VariantObject&>(*value);
    EXPECT_EQ(ExtractPropertyFromObject<UTF8String>(object, "a"), "true");
    const auto& inner = ExtractPropertyFromObject<VariantObject>(object, "b");
    EXPECT_EQ(ExtractPropertyFromObject<UTF8String>(inner, "c"), "");
    const auto& attributes = ExtractPropertyFromObject<VariantObject>(inner, "__attributes__");
    EXPECT_EQ(ExtractPropertyFromObject<UTF8String>(attributes, "x"), "5");
}

TEST_F(Reader, TheDictionaryBelongsToTheCallerAlone) {
    EXPECT_EQ(ParsePlexaXMLPayload("<message><a x='1'><b/></a></message>").use_count(), 1);
}

TEST_F(Reader, AttributesComeInTheOrderOfTheirNames) {
    const auto value = ParsePlexaXMLPayload("<message v='1'><a z='1' b='2' B='3'/></message>");
    EXPECT_EQ(nuocore::serialization::GetJSONUTF8String(*value, false),
              R"({"a":{"__attributes__":{"B":"3","b":"2","z":"1"}}})");
}

TEST_F(Reader, DocumentCallbacksReportWhatIsStillOpenInOrder) {
    PlexaMessageXMLParseHandler handler;
    handler.StartElement(u"message", {{u"v", u"1"}});
    handler.Characters(u"text");
    handler.StartDocument();
    const auto record = [](const char* inFunction, const char* inExpression) {
        return std::string("PlexaXMLSupport|0|") + kHandler + inFunction + "|" + inExpression + "|";
    };
    EXPECT_THAT(mAssertions.Records(),
                ElementsAre(record("StartDocument", "mTagStack.empty()"),
                            record("StartDocument", "mObjectStack.empty()"),
                            record("StartDocument", "mLatestCharacters.str().empty()")));
    mAssertions.Clear();
    handler.EndDocument();
    EXPECT_THAT(mAssertions.Records(), ElementsAre(record("EndDocument", "mTagStack.empty()"),
                                                   record("EndDocument", "mObjectStack.empty()"),
                                                   record("EndDocument", "mLatestCharacters.str().empty()")));
}

TEST_F(Reader, AMismatchedEndTagIsReported) {
    PlexaMessageXMLParseHandler handler;
    handler.StartElement(u"message", {});
    handler.EndElement(u"other");
    EXPECT_THAT(mAssertions.Records(),
                ElementsAre(EndElementRecord("nuocore::string::UTF16to8(inName) == mTagStack.back().mTag|")));
}

// The joins and leaves of the apartment that a parse makes.
std::vector<std::string>& Joins() {
    static std::vector<std::string> sCalls;
    return sCalls;
}
std::int32_t sJoinResult = 0;

const ComApartment kRecordingApartment{[](void* inReserved, std::uint32_t inModel) {
                                           Joins().push_back(inReserved == nullptr
                                                                 ? "initialize " + std::to_string(inModel)
                                                                 : "initialize reserved");
                                           return sJoinResult;
                                       },
                                       [] { Joins().emplace_back("uninitialize"); }};

std::vector<std::string> JoinsOf(std::int32_t inResult, const char* inXML) {
    Joins().clear();
    sJoinResult = inResult;
    try {
        ParsePlexaXMLPayload(inXML, kRecordingApartment);
    } catch (const nuocore::xml::XMLError&) {
        Joins().emplace_back("threw");
    }
    return Joins();
}

TEST_F(Reader, TheApartmentIsLeftAfterAParseWhenItWasJoined) {
    EXPECT_THAT(JoinsOf(ComApartment::kOk, "<a/>"), ElementsAre("initialize 0", "uninitialize"));
    EXPECT_THAT(JoinsOf(ComApartment::kFalse, "<a/>"), ElementsAre("initialize 0", "uninitialize"));
    constexpr auto kChangedMode = static_cast<std::int32_t>(0x80010106U);
    EXPECT_THAT(JoinsOf(kChangedMode, "<a/>"), ElementsAre("initialize 0"));
}

TEST_F(Reader, AMalformedDocumentLeavesTheApartmentJoined) {
    EXPECT_THAT(JoinsOf(ComApartment::kOk, "<a>"), ElementsAre("initialize 0", "threw"));
}

}  // namespace
}  // namespace nuoplexasupport
