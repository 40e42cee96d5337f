// A handler that takes UTF-8 is told the same as one that doesn't.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "data_xml_recorder.h"

namespace {

using namespace nuocore::xml;
using data_test::CallsFor;
using testing::HasSubstr;

/// Writes down what it is told as `RecordingHandler` does; what comes in UTF-16 is marked.
class Receiver final : public AbstractParseHandler, public UTF8ParseReceiver {
  public:
    explicit Receiver(std::string& outCalls) : mCalls(outCalls) {}

    void StartElementUTF8(std::string_view inName, std::span<const Attribute> inAttributes) override {
        std::string line = "<" + std::string(inName);
        for (const Attribute& attribute : inAttributes) {
            line += " " + std::string(attribute.mName) + "=" + std::string(attribute.mValue);
        }
        Add(line + ">");
        if (inName == "throw") {
            throw std::out_of_range("thrown");
        }
    }
    void EndElementUTF8(std::string_view inName) override { Add("</" + std::string(inName) + ">"); }
    void CharactersUTF8(std::string_view inText) override { Add("[" + std::string(inText) + "]"); }
    void StartElement(const nuocore::UTF16String& /*inName*/, const AttributeMap& /*inAttributes*/) override {
        Add("UTF-16");
    }
    void EndElement(const nuocore::UTF16String& /*inName*/) override { Add("UTF-16"); }
    void Characters(const nuocore::UTF16String& /*inText*/) override { Add("UTF-16"); }
    void StartElementWithNamespace(const nuocore::UTF16String& /*inNamespace*/,
                                   const nuocore::UTF16String& /*inLocalName*/,
                                   const nuocore::UTF16String& /*inQualifiedName*/,
                                   const AttributeList& /*inAttributes*/) override {
        Add("namespace");
    }
    void StartCDATA() override { Add("cdata"); }
    void EndCDATA() override { Add("/cdata"); }
    void Comment(const nuocore::UTF16String& /*inText*/) override { Add("!comment"); }

  private:
    void Add(const std::string& inCall) { mCalls += mCalls.empty() ? inCall : " " + inCall; }

    std::string& mCalls;
};

std::string ReceivedOf(std::string_view inDocument, const ParserOptions& inOptions = {}) {
    std::string calls;
    GetParser(std::make_unique<Receiver>(calls), inOptions)->Parse(inDocument);
    return calls;
}

TEST(XMLInUTF8, TellsTheSameAsUTF16) {
    for (const char* document :
         {"<a/>", "<a>t<b/>u<c>v</c> </a>", "<a x='1' y='2'><b z='\xC3\xA9'>\xE4\xB8\xAD</b></a>",
          "<a>1&lt;2<![CDATA[<3>]]>&#x10000;<!--comment--> 4</a>",
          "<\xC3\xA9t\xC3\xA9>\xF0\x9F\x98\x80</\xC3\xA9t\xC3\xA9>",
          "<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xE9'>\xE9</a>",
          "<!DOCTYPE a [<!ATTLIST a d CDATA 'default'>]><a b='1'/>"}) {
        EXPECT_EQ(ReceivedOf(document), CallsFor(document)) << document;
    }
}

TEST(XMLInUTF8, HasAttributesInTheOrderOfTheDocument) {
    EXPECT_EQ(ReceivedOf("<a z='1' b='2'><c/><d e='3'/></a>"), "<a z=1 b=2> <c> </c> <d e=3> </d> </a>");
}

TEST(XMLInUTF8, CutsATextWhereUTF16WouldBeCut) {
    std::string text;
    for (int i = 0; i != 300; ++i) {
        text += i % 3 == 0 ? "\xF0\x9F\x98\x80" : i % 5 == 0 ? "\xE4\xB8\xAD" : i % 7 == 0 ? "\xC3\xA9" : "x";
    }
    const std::string document = "<a>" + text + "&amp;" + text + "</a>";
    ParserOptions options;
    for (std::size_t limit = 0; limit != 40; ++limit) {
        options.mLimits.mMaxChunkUnits = limit;
        EXPECT_EQ(ReceivedOf(document, options), CallsFor(document, options)) << limit;
    }
}

TEST(XMLInUTF8, IsForPlainModeOnly) {
    ParserOptions options;
    options.mNamespaces = true;
    EXPECT_EQ(ReceivedOf("<a>t</a>", options), "namespace UTF-16");
}

TEST(XMLInUTF8, IsBoundedInDepth) {
    ParserOptions options;
    options.mLimits.mMaxDepth = 3;
    EXPECT_EQ(ReceivedOf("<a><b><c/><c/></b><b/></a>", options),
              "<a> <b> <c> </c> <c> </c> </b> <b> </b> </a>");
    EXPECT_THROW(ReceivedOf("<a><b><c><d/></c></b></a>", options), XMLError);
    EXPECT_EQ(ReceivedOf("<a><b><c/></b></a>", options), "<a> <b> <c> </c> </b> </a>") << "after a failure";
}

TEST(XMLInUTF8, PassesOnWhatTheReceiverThrows) {
    std::string calls;
    EXPECT_THROW(GetParser(std::make_unique<Receiver>(calls))->Parse("<a><throw>text</throw></a>"),
                 std::out_of_range);
    EXPECT_EQ(calls, "<a> <throw>");
}

}  // namespace
