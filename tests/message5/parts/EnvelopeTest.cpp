// The XML text of messages, read back with the reader that the library's users use.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include "Envelope.h"

using namespace orvane::plexa;
using message5::EnvelopeCache;
using message5::EnvelopeText;

namespace {

boost::property_tree::ptree Parse(const std::string& inText) {
    std::istringstream stream(inText);
    boost::property_tree::ptree tree;
    boost::property_tree::read_xml(stream, tree);
    return tree;
}

std::string TypeReadBack(const std::string& inType) {
    return Parse(EnvelopeText(inType, {"A-1", 1, 2})).get<std::string>("message.type", "(absent)");
}

}  // namespace

TEST(Envelopes, CarryEveryTextThatXmlCanCarry) {
    for (const std::string text :
         {"plexa.SuiteMessage", "a<b>c</type><type>d", "&amp;", "\"quoted\" 'too'", " leading", "trailing ",
          "  ", "tab\there", "line\r\nbreak", "]]>", "<!-- -->", "<?pi?>",
          "Gr\xC3\xBC\xC3\x9F"
          "e",
          "\xF0\x9F\x98\x80", ""}) {
        EXPECT_EQ(TypeReadBack(text), text);
    }
}

TEST(Envelopes, ReplaceWhatXmlCannotCarry) {
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(TypeReadBack("a\x01"
                           "b"),
              "a" + replacement + "b");
    EXPECT_EQ(TypeReadBack("a\xEF\xBF\xBF"
                           "b"),
              "a" + replacement + "b");
    EXPECT_EQ(TypeReadBack("a\xFF"
                           "b"),
              "a" + replacement + "b");
    EXPECT_EQ(TypeReadBack("cut \xE2\x82"), "cut " + replacement);
    EXPECT_EQ(TypeReadBack(std::string("a\0b", 3)), "a" + replacement + "b");
    EXPECT_EQ(TypeReadBack("\xED\xA0\x80").find("\xED\xA0"), std::string::npos);
}

TEST(Envelopes, StayFlatWhateverASenderChooses) {
    std::string deep;
    for (int i = 0; i != 1000; ++i) deep += "<a>";
    const auto tree = Parse(EnvelopeText(deep, {"<x>-1", 1, 2}));
    const auto& message = tree.get_child("message");
    ASSERT_EQ(message.size(), 2U);
    EXPECT_TRUE(message.get_child("type").empty());
    EXPECT_TRUE(message.get_child("source").empty());
    EXPECT_EQ(message.get<std::string>("source"), "<x>-1");
}

TEST(Envelopes, WithoutASourceHaveNone) {
    EXPECT_EQ(EnvelopeText("t", api5::EndPoint::INVALID_ENDPOINT), "<message><type>t</type></message>");
}

TEST(EnvelopeCaches, GiveOneTextPerSenderAndType) {
    EnvelopeCache cache;
    const auto first = cache.Get("t", {"A-1", 1, 2});
    EXPECT_EQ(cache.Get("t", {"A-1", 9, 9}), first);
    EXPECT_NE(*cache.Get("t", {"B-1", 1, 2}), *first);
    EXPECT_NE(*cache.Get("u", {"A-1", 1, 2}), *first);
    // Where the app id ends and the type begins makes a difference.
    EXPECT_NE(*cache.Get("1t", {"A-", 1, 2}), *cache.Get("t", {"A-1", 1, 2}));
}

TEST(EnvelopeCaches, StayRightUnderAFloodOfTypes) {
    EnvelopeCache cache;
    const api5::EndPoint sender("A-1", 1, 2);
    const auto first = cache.Get("t", sender);
    for (int i = 0; i != 10000; ++i) {
        const std::string type = "type" + std::to_string(i);
        ASSERT_EQ(*cache.Get(type, sender), EnvelopeText(type, sender));
    }
    EXPECT_NE(cache.Get("t", sender), first);  // it was forgotten
    EXPECT_EQ(*cache.Get("t", sender), *first);
    const std::string large(100000, 'x');
    EXPECT_NE(cache.Get(large, sender), cache.Get(large, sender));
}
