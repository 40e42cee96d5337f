// The handler driven call by call, also with what no document can make the core parser say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "doubles/NuocoreWatch.h"
#include "nuocore/JSON.h"
#include "nuocore/Variant.h"
#include "nuoplexasupport/Constants.h"
#include "xml/PlexaMessageXMLParseHandler.h"

namespace nuoplexasupport {
namespace {

using nuocore::serialization::ExtractPropertyFromObject;
using testing::IsEmpty;
using testing::SizeIs;

std::string Result(const PlexaMessageXMLParseHandler& inHandler) {
    return std::string(nuocore::serialization::GetJSONUTF8String(*inHandler.GetResult(), false));
}

// What `<message><a>` and one chunk of text make of "a".
std::string ReadChunk(const UTF16String& inChunk) {
    PlexaMessageXMLParseHandler handler;
    handler.StartElement(u"message", {});
    handler.StartElement(u"a", {});
    handler.Characters(inChunk);
    handler.EndElement(u"a");
    handler.EndElement(u"message");
    const auto& object = boost::any_cast<const VariantObject&>(*handler.GetResult());
    return std::string(ExtractPropertyFromObject<UTF8String>(object, "a"));
}

class ReaderHandler : public testing::Test {
  protected:
    doubles::AssertionWatch mAssertions;
};

TEST_F(ReaderHandler, TakesSixCharactersForWhiteSpaceAndNoOthers) {
    for (const char16_t unit : std::initializer_list<char16_t>{0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x20}) {
        EXPECT_EQ(ReadChunk(UTF16String(1, unit)), "") << int{unit};
    }
    for (const char16_t unit :
         std::initializer_list<char16_t>{0x01, 0x08, 0x0E, 0x1F, 0x21, 0x85, 0xA0, 0x2003, 0x2028, 0x3000}) {
        EXPECT_NE(ReadChunk(UTF16String(1, unit)), "") << int{unit};
    }
}

TEST_F(ReaderHandler, LooksForWhiteSpaceUpToTheFirstNulAndKeepsTheWholeChunk) {
    EXPECT_EQ(ReadChunk(UTF16String(u"one\0two", 7)), std::string("one\0two", 7));
    EXPECT_EQ(ReadChunk(UTF16String(u" \0two", 5)), "");
    EXPECT_EQ(ReadChunk(UTF16String(u"\0two", 4)), "");
    EXPECT_EQ(ReadChunk(u""), "");
}

TEST_F(ReaderHandler, JoinsTheChunksThatAreMoreThanWhiteSpace) {
    PlexaMessageXMLParseHandler handler;
    handler.StartElement(u"message", {});
    handler.StartElement(u"a", {});
    for (const char16_t* const chunk : {u" one", u"", u" ", u"\n\t", u"two ", u" "}) {
        handler.Characters(chunk);
    }
    handler.EndElement(u"a");
    EXPECT_EQ(Result(handler), R"({"a":" onetwo "})");
}

TEST_F(ReaderHandler, MakesNothingOfNamespacesSectionsAndComments) {
    PlexaMessageXMLParseHandler handler;
    nuocore::xml::AbstractParseHandler& base = handler;
    base.StartElement(u"message", {});
    base.StartElement(u"a", {});
    base.Characters(u"t");
    base.StartPrefixMapping(u"p", u"urn:p");
    base.StartElementWithNamespace(u"urn:p", u"b", u"p:b", {{u"", u"x", u"x", u"1"}});
    base.StartCDATA();
    base.Comment(u"not me");
    base.EndCDATA();
    base.EndElementWithNamespace(u"urn:p", u"b", u"p:b");
    base.EndPrefixMapping(u"p");
    base.EndElement(u"a");
    base.EndElement(u"message");
    base.EndDocument();
    EXPECT_EQ(Result(handler), R"({"a":"t"})");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(ReaderHandler, GoesOnAsBeforeWhenADocumentBeginsOrEndsInTheMiddle) {
    PlexaMessageXMLParseHandler handler;
    handler.StartElement(u"message", {});
    handler.StartElement(u"a", {{u"x", u"1"}});
    handler.StartElement(u"b", {});
    handler.Characters(u"t");
    for (int i = 0; i < 2; ++i) {
        handler.StartDocument();
        handler.EndDocument();
    }
    EXPECT_THAT(mAssertions.Records(), SizeIs(12));
    mAssertions.Clear();
    handler.EndElement(u"b");
    handler.EndElement(u"a");
    handler.EndElement(u"message");
    handler.EndDocument();
    EXPECT_EQ(Result(handler), R"({"a":{"__attributes__":{"x":"1"},"b":"t"}})");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(ReaderHandler, ComparesNamesBeyondASCIIToo) {
    PlexaMessageXMLParseHandler handler;
    handler.StartElement(u"gr\u00FC\u00DF", {});
    handler.EndElement(u"gr\u00FC\u00DF");
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
    handler.StartElement(u"gr\u00FC\u00DF", {});
    handler.EndElement(u"gr\u00FC\u00DE");
    EXPECT_THAT(mAssertions.Records(), SizeIs(1));
}

TEST_F(ReaderHandler, OfAttributeNamesThatAreOneInUTF8TheLastCounts) {
    PlexaMessageXMLParseHandler handler;
    handler.StartElement(u"message", {{u"v", u"1"}});
    handler.StartElement(
        u"a", {{UTF16String(1, char16_t{0xD801}), u"second"}, {UTF16String(1, char16_t{0xD800}), u"first"}});
    handler.EndElement(u"a");
    EXPECT_EQ(Result(handler), "{\"a\":{\"__attributes__\":{\"\xEF\xBF\xBD\":\"second\"}}}");
}

TEST_F(ReaderHandler, ThrowsWhenADictionaryHasBecomeSomethingElse) {
    for (const nuocore::xml::AttributeMap& attributes :
         {nuocore::xml::AttributeMap(), nuocore::xml::AttributeMap{{u"x", u"1"}}}) {
        PlexaMessageXMLParseHandler handler;
        handler.StartElement(u"message", {{u"v", u"1"}});
        handler.StartElement(u"a", attributes);
        *handler.GetResult() = UTF8String("text");
        EXPECT_THROW(handler.EndElement(u"a"), boost::bad_any_cast);
    }
}

}  // namespace
}  // namespace nuoplexasupport
