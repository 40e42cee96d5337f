// The XML parser's calls: order, names, attributes, joined text, namespaces, encodings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "data_xml_recorder.h"

namespace {

using data_test::CallsFor;
using data_test::RecordingHandler;
using data_test::XMLErrorOf;
using namespace nuocore::xml;
using nuocore::UTF16String;
using testing::ElementsAre;
using testing::HasSubstr;

ParserOptions WithNamespaces() {
    ParserOptions options;
    options.mNamespaces = true;
    return options;
}

std::string BigEndianUTF16(std::u16string_view inText) {
    std::string bytes = "\xFE\xFF";
    for (const char16_t unit : inText) {
        bytes += static_cast<char>(unit >> 8U);
        bytes += static_cast<char>(unit & 0xFFU);
    }
    return bytes;
}

TEST(XMLCalls, ComeInDocumentOrder) {
    std::vector<std::string> calls;
    GetParser(std::make_unique<RecordingHandler>(calls))
        ->Parse("<?xml version=\"1.0\"?><a>t<b/>u<c>v</c></a>\n");
    EXPECT_THAT(
        calls, ElementsAre("start", "<a>", "[t]", "<b>", "</b>", "[u]", "<c>", "[v]", "</c>", "</a>", "end"));
}

TEST(XMLCalls, NameAttributesInOrderOfTheirUTF16Units) {
    EXPECT_EQ(CallsFor("<a zeta='1' alpha='2' Zeta='3' alpha-b='4' alphab='5'/>"),
              "<a Zeta=3 alpha=2 alpha-b=4 alphab=5 zeta=1> </a>");
    EXPECT_EQ(CallsFor("<a \xE4\xB8\xAD='1' \xC3\xA9='2' z='3'/>"), "<a z=3 \xC3\xA9=2 \xE4\xB8\xAD=1> </a>");
    // Such characters can't stand in names; the order of names counts on it.
    EXPECT_THAT(XMLErrorOf("<a \xF0\x90\x80\x80='1'/>"), HasSubstr("not well-formed"));
}

TEST(XMLCalls, ForgetTheAttributesOfTheElementBefore) {
    EXPECT_EQ(CallsFor("<a x='1' y='2' z='3'><b/><c y='4'/><d/><e u='5' v='6' w='7' x='8'/></a>"),
              "<a x=1 y=2 z=3> <b> </b> <c y=4> </c> <d> </d> <e u=5 v=6 w=7 x=8> </e> </a>");
}

TEST(XMLCalls, TellEqualNumbersOfAttributesApart) {
    EXPECT_EQ(CallsFor("<a><b x='1' y='2'/><c y='3' x='4'/><d x='5' z='6'/><e y='7' x='8'/></a>"),
              "<a> <b x=1 y=2> </b> <c x=4 y=3> </c> <d x=5 z=6> </d> <e x=8 y=7> </e> </a>");
    std::string nine;
    for (const char name : std::string("abcdefghi")) {
        nine += std::string(" ") + name + "='" + name + "'";
    }
    const std::string ten = nine + " j='j'";
    EXPECT_EQ(CallsFor("<x" + ten + "/>"), "<x a=a b=b c=c d=d e=e f=f g=g h=h i=i j=j> </x>");
    EXPECT_EQ(CallsFor("<x" + nine + "/>"), "<x a=a b=b c=c d=d e=e f=f g=g h=h i=i> </x>");
}

TEST(XMLCalls, ReportNamespaceDeclarationsAsAttributesInPlainMode) {
    EXPECT_EQ(CallsFor("<p:a xmlns:p='urn:p' xmlns='urn:d' p:x='1'/>"),
              "<p:a p:x=1 xmlns=urn:d xmlns:p=urn:p> </p:a>");
}

TEST(XMLCalls, NormaliseAttributeValues) {
    EXPECT_EQ(CallsFor("<a x='1&#10;2\n3&lt;&amp;&quot;'/>"), "<a x=1\n2 3<&\"> </a>");
}

TEST(XMLCalls, JoinTextReferencesAndCDATA) {
    EXPECT_EQ(CallsFor("<a>one &lt; two\r\nthree &#x41;&amp;</a>"), "<a> [one < two\nthree A&] </a>");
    EXPECT_EQ(CallsFor("<a>b<![CDATA[<c>&amp;]]>d<![CDATA[]]></a>"),
              "<a> cdata /cdata cdata /cdata [b<c>&amp;d] </a>");
    EXPECT_EQ(CallsFor("<a>b<!-- c -->d<?e f?>g</a>"), "<a> ! c  [bdg] </a>");
    EXPECT_EQ(CallsFor("<!DOCTYPE a [<!ENTITY e 'x<b>y</b>z'>]><a>1&e;2</a>"),
              "<a> [1x] <b> [y] </b> [z2] </a>");
}

TEST(XMLCalls, KeepWhiteSpaceChunks) {
    EXPECT_EQ(CallsFor("<a>\n <b/> </a>"), "<a> [\n ] <b> </b> [ ] </a>");
}

TEST(XMLCalls, DeliverALongTextInOneChunkInEveryEncoding) {
    std::string narrow;
    std::u16string wide;
    for (int i = 0; i < 2000; ++i) {
        narrow += i % 3 == 0 ? "&amp;" : i % 3 == 1 ? "\xC3\xA9 x\n" : "\xF0\x9F\x98\x80";
        wide += i % 3 == 0 ? u"&amp;" : i % 3 == 1 ? u"\u00E9 x\n" : u"\xD83D\xDE00";
    }
    const std::string narrowCalls = CallsFor("<a>" + narrow + "</a>");
    EXPECT_EQ(narrowCalls.find("] ["), std::string::npos);
    EXPECT_EQ(CallsFor(BigEndianUTF16(u"<a>" + wide + u"</a>")), narrowCalls);
}

TEST(XMLCalls, CutATextWhereTheChunkLimitIsReached) {
    ParserOptions options;
    options.mLimits.mMaxChunkUnits = 4;
    EXPECT_EQ(CallsFor("<a>abcd</a>", options), "<a> [abcd] </a>");
    EXPECT_EQ(CallsFor("<a>abcdefghij</a>", options), "<a> [abcd] [efgh] [ij] </a>");
    // The same text in other pieces is cut at the same places.
    EXPECT_EQ(CallsFor("<a>a<![CDATA[b]]>&#99;d<!---->e&#102;ghij</a>", options),
              "<a> cdata /cdata ! [abcd] [efgh] [ij] </a>");
    EXPECT_EQ(CallsFor("<a>abc\xF0\x9F\x98\x80"
                       "efgh</a>",
                       options),
              "<a> [abc] [\xF0\x9F\x98\x80"
              "ef] [gh] </a>");
}

TEST(XMLCalls, CutATextOfCharactersOfEverySizeByItsUTF16Units) {
    const std::u16string text = u"ax\u00E9y\u4E2D\U0001F600z\u00E9\u4E2D\U0001F600\U0001F600b\u4E2D";
    const std::string document = "<a>" + std::string(nuocore::string::UTF16to8(text)) + "</a>";
    ParserOptions options;
    for (std::size_t limit = 2; limit != 20; ++limit) {
        options.mLimits.mMaxChunkUnits = limit;
        std::string expected = "<a> ";
        for (std::size_t begin = 0; begin < text.size();) {
            std::size_t size = std::min(limit, text.size() - begin);
            if (begin + size < text.size() && (text[begin + size] & 0xFC00U) == 0xDC00U) {
                --size;
            }
            const std::u16string_view chunk = std::u16string_view(text).substr(begin, size);
            expected += "[" + std::string(nuocore::string::UTF16to8(chunk)) + "] ";
            begin += size;
        }
        EXPECT_EQ(CallsFor(document, options), expected + "</a>") << limit;
    }
}

TEST(XMLCalls, DeliverATextLongerThanAnyBufferWhole) {
    const std::string text(300000, 't');
    EXPECT_EQ(CallsFor("<a>" + text + "</a>"), "<a> [" + text + "] </a>");
    std::string wide;
    for (int i = 0; i < 100000; ++i) {
        wide += "\xE2\x82\xAC";
    }
    EXPECT_EQ(CallsFor("<a>x" + wide + "</a>"), "<a> [x" + wide + "] </a>");
}

TEST(XMLCalls, ReportNamespaces) {
    EXPECT_EQ(
        CallsFor("<a xmlns='urn:d' xmlns:p='urn:p'>t<p:b p:x='1' y='2'/><c xmlns=''/></a>", WithNamespaces()),
        "+=urn:d +p=urn:p <{urn:d}a|a> [t] <{urn:p}b|p:b {urn:p}x|p:x=1 {}y|y=2> </{urn:p}b|p:b> "
        "+= <{}c|c> </{}c|c> - </{urn:d}a|a> -p -");
    EXPECT_EQ(CallsFor("<a><b x='1'/></a>", WithNamespaces()), "<{}a|a> <{}b|b {}x|x=1> </{}b|b> </{}a|a>");
    EXPECT_EQ(CallsFor("<a xml:lang='en'/>", WithNamespaces()),
              "<{}a|a {http://www.w3.org/XML/1998/namespace}lang|xml:lang=en> </{}a|a>");
}

TEST(XMLCalls, EndTextBeforeAPrefixMapping) {
    EXPECT_EQ(CallsFor("<a>t<b xmlns:q='u'>v</b>w</a>", WithNamespaces()),
              "<{}a|a> [t] +q=u <{}b|b> [v] </{}b|b> -q [w] </{}a|a>");
}

TEST(XMLCalls, RefuseUndeclaredPrefixesInNamespaceMode) {
    EXPECT_THAT(XMLErrorOf("<p:a/>", WithNamespaces()), HasSubstr("unbound prefix"));
    EXPECT_THAT(XMLErrorOf("<a xmlns:p='u' xmlns:q='u' p:x='1' q:x='2'/>", WithNamespaces()),
                HasSubstr("duplicate"));
    EXPECT_EQ(XMLErrorOf("<p:a/>"), "no error");
}

TEST(XMLCalls, ReadTheEncodingsThatArePromised) {
    const std::string expected = "<a> [\xC3\xA9] </a>";
    EXPECT_EQ(CallsFor("<a>\xC3\xA9</a>"), expected);
    EXPECT_EQ(CallsFor("\xEF\xBB\xBF<a>\xC3\xA9</a>"), expected);
    EXPECT_EQ(CallsFor("<?xml version='1.0' encoding='utf-8'?><a>\xC3\xA9</a>"), expected);
    EXPECT_EQ(CallsFor("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>"), expected);
    EXPECT_EQ(CallsFor("<?xml version='1.0' encoding='US-ASCII'?><a>&#xE9;</a>"), expected);
    EXPECT_EQ(CallsFor(BigEndianUTF16(u"<a>\u00E9</a>")), expected);
    EXPECT_EQ(CallsFor(BigEndianUTF16(u"<?xml version='1.0' encoding='UTF-16'?><a>\u00E9</a>")), expected);
}

TEST(XMLCalls, RefuseOtherEncodings) {
    for (const char* const name : {"windows-1252", "EUC-JP", "UTF-7", "UTF-32", "nonsense"}) {
        EXPECT_THAT(XMLErrorOf("<?xml version='1.0' encoding='" + std::string(name) + "'?><a/>"),
                    HasSubstr("unknown encoding"))
            << name;
    }
    EXPECT_THAT(XMLErrorOf("<?xml version='1.0' encoding='UTF-16'?><a/>"), HasSubstr("incorrect"));
    EXPECT_THAT(XMLErrorOf("<?xml version='1.0' encoding='US-ASCII'?><a>\xE9</a>"),
                HasSubstr("not well-formed"));
}

// Throws from the call with a given number.
class ThrowingHandler final : public AbstractParseHandler {
  public:
    ThrowingHandler(int inThrowAt, int& outCalls) : mThrowAt(inThrowAt), mCalls(outCalls) {}
    void StartDocument() override { Called(); }
    void StartElement(const UTF16String& /*inName*/, const AttributeMap& /*inAttributes*/) override {
        Called();
    }
    void EndElement(const UTF16String& /*inName*/) override { Called(); }
    void StartCDATA() override { Called(); }
    void EndCDATA() override { Called(); }
    void Characters(const UTF16String& /*inText*/) override { Called(); }
    void Comment(const UTF16String& /*inText*/) override { Called(); }
    void EndDocument() override { Called(); }

  private:
    void Called() {
        if (++mCalls == mThrowAt) {
            throw mThrowAt;
        }
    }

    const int mThrowAt;
    int& mCalls;
};

TEST(XMLCalls, PassOnWhatTheHandlerThrowsAndEndThere) {
    const std::string document = "<a>t<b/>u<!--c--><![CDATA[d]]></a>";
    int all = 0;
    GetParser(std::make_unique<ThrowingHandler>(0, all))->Parse(document);
    EXPECT_EQ(all, 11);
    for (int throwAt = 1; throwAt <= all; ++throwAt) {
        int calls = 0;
        int caught = 0;
        try {
            GetParser(std::make_unique<ThrowingHandler>(throwAt, calls))->Parse(document);
        } catch (const int thrown) {
            caught = thrown;
        }
        EXPECT_EQ(caught, throwAt);
        EXPECT_EQ(calls, throwAt);
    }
}

TEST(XMLCalls, StartAfreshAfterAFailure) {
    std::vector<std::string> calls;
    const auto parser = GetParser(std::make_unique<RecordingHandler>(calls));
    EXPECT_THROW(parser->Parse("<a>text<b x='1'>more"), XMLError);
    calls.clear();
    parser->Parse("<c>d</c>");
    EXPECT_THAT(calls, ElementsAre("start", "<c>", "[d]", "</c>", "end"));
}

// Parses another document with its own parser inside a callback.
class NestingHandler final : public AbstractParseHandler {
  public:
    NestingHandler(AbstractDocParser*& inParser, std::string& outCalls)
        : mParser(inParser), mCalls(outCalls) {}
    void StartElement(const UTF16String& inName, const AttributeMap& /*inAttributes*/) override {
        mCalls += nuocore::string::UTF16to8(inName);
        if (inName == u"outer") {
            mParser->Parse("<inner/>");
        }
    }
    void Characters(const UTF16String& inText) override { mCalls += nuocore::string::UTF16to8(inText); }
    void EndElement(const UTF16String& inName) override { mCalls += "/" + nuocore::string::UTF16to8(inName); }

  private:
    AbstractDocParser*& mParser;
    std::string& mCalls;
};

TEST(XMLCalls, MayUseTheSameParserInsideACallback) {
    AbstractDocParser* self = nullptr;
    std::string calls;
    const auto parser = GetParser(std::make_unique<NestingHandler>(self, calls));
    self = parser.get();
    parser->Parse("<outer>text</outer>");
    EXPECT_EQ(calls, "outerinner/innertext/outer");
}

TEST(XMLCalls, AreTheSameOnManyThreadsAtOnce) {
    const std::string document = "<a x='1' y='2'>t<b>\xC3\xA9</b><c z='3'/></a>";
    const std::string expected = CallsFor(document);
    std::atomic<int> differences{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 6; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 300; ++i) {
                differences += CallsFor(document) == expected ? 0 : 1;
                differences += XMLErrorOf("<a>t") == "no error" ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(differences, 0);
}

TEST(XMLCalls, NeedAHandler) { EXPECT_THROW(GetParser(nullptr), std::invalid_argument); }

}  // namespace
