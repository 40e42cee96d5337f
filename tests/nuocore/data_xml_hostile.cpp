// The XML parser and documents that are broken or mean harm.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "data_xml_recorder.h"

namespace {

using data_test::CallsFor;
using data_test::XMLErrorOf;
using namespace nuocore::xml;
using testing::HasSubstr;
using testing::StartsWith;

std::string Repeated(std::string_view inText, std::size_t inCount) {
    std::string text;
    text.reserve(inText.size() * inCount);
    for (std::size_t i = 0; i < inCount; ++i) {
        text += inText;
    }
    return text;
}

std::string Nested(std::size_t inDepth) { return Repeated("<a>", inDepth) + Repeated("</a>", inDepth); }

std::string Attributes(std::size_t inCount) {
    std::string text;
    for (std::size_t i = 0; i < inCount; ++i) {
        text += " n" + std::to_string(i) + "=''";
    }
    return text;
}

TEST(HostileXML, NamesLineAndColumn) {
    EXPECT_THAT(XMLErrorOf("<a>\n<b></c></a>"), HasSubstr("mismatched tag at line 2, column 6"));
    EXPECT_THAT(XMLErrorOf(""), HasSubstr("no element found at line 1, column 1"));
    ParserOptions options;
    options.mLimits.mMaxDepth = 1;
    EXPECT_THAT(XMLErrorOf("<a>\n <b/></a>", options), HasSubstr("nested too deeply at line 2, column 2"));
}

TEST(HostileXML, IsRefusedWhenNotWellFormed) {
    for (const char* const document : {"",
                                       " ",
                                       "text",
                                       "<a>",
                                       "</a>",
                                       "<a></b>",
                                       "<a/><b/>",
                                       "<a/>text",
                                       "<a",
                                       "<a b/>",
                                       "<a b=c/>",
                                       "<a b='1' b='2'/>",
                                       "<a>&</a>",
                                       "<a>&undeclared;</a>",
                                       "<a>&#0;</a>",
                                       "<a>&#x1;</a>",
                                       "<a>&#xD800;</a>",
                                       "<a>&#x110000;</a>",
                                       "<a>]]></a>",
                                       "<a b='<'/>",
                                       "<a><!-- -- --></a>",
                                       "<a>\x01</a>",
                                       "<a b='\x01'/>",
                                       " <?xml version='1.0'?><a/>",
                                       "\x0B<a/>",
                                       "<a>\xEF\xBF\xBE</a>",
                                       "<1/>",
                                       "<a b='&e;'/>",
                                       "<![CDATA[x]]>"}) {
        EXPECT_THAT(XMLErrorOf(document), StartsWith("Cannot read XML: ")) << document;
    }
}

TEST(HostileXML, IsRefusedWithANULAnywhere) {
    const std::string document = "<?xml version='1.0'?><a b='c'>text<!--d--></a>";
    for (std::size_t place = 0; place <= document.size(); ++place) {
        std::string broken = document;
        broken.insert(place, 1, '\0');
        EXPECT_NE(XMLErrorOf(broken), "no error") << place;
    }
}

TEST(HostileXML, IsRefusedWithBrokenUTF8) {
    for (const char* const bytes : {"\x80", "\xC0\xAF", "\xE2\x82", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                    "\xFF", "\xF8\x88\x80\x80\x80"}) {
        EXPECT_NE(XMLErrorOf("<a>" + std::string(bytes) + "</a>"), "no error");
        EXPECT_NE(XMLErrorOf("<a b='" + std::string(bytes) + "'/>"), "no error");
        EXPECT_NE(XMLErrorOf("<a" + std::string(bytes) + "/>"), "no error");
        EXPECT_NE(XMLErrorOf("<a/><!--" + std::string(bytes) + "-->"), "no error");
    }
}

TEST(HostileXML, IsRefusedWhenCutShortAtAnyByte) {
    const std::string document =
        "<?xml version='1.0'?><!DOCTYPE a [<!ENTITY e 'x'>]><a b='1' c='&e;'>t&amp;\xC3\xA9&e;<![CDATA[d]]><!--f--><g/></a>";
    ASSERT_EQ(XMLErrorOf(document), "no error");
    for (std::size_t size = 0; size < document.size(); ++size) {
        EXPECT_THAT(XMLErrorOf(document.substr(0, size)), StartsWith("Cannot read XML: ")) << size;
    }
}

TEST(HostileXML, IsBoundedInSize) {
    ParserOptions options;
    options.mLimits.mMaxBytes = 10;
    EXPECT_EQ(XMLErrorOf("<a>123</a>", options), "no error");
    EXPECT_THAT(XMLErrorOf("<a>1234</a>", options), HasSubstr("11 bytes"));
}

TEST(HostileXML, IsBoundedInDepth) {
    EXPECT_EQ(XMLErrorOf(Nested(256)), "no error");
    EXPECT_THAT(XMLErrorOf(Nested(257)), HasSubstr("nested too deeply"));
    EXPECT_THAT(XMLErrorOf(Nested(1000000)), HasSubstr("nested too deeply"));
    ParserOptions options;
    options.mNamespaces = true;
    EXPECT_THAT(XMLErrorOf(Nested(257), options), HasSubstr("nested too deeply"));
}

TEST(HostileXML, IsBoundedInAttributes) {
    EXPECT_EQ(XMLErrorOf("<a" + Attributes(1024) + "/>"), "no error");
    EXPECT_THAT(XMLErrorOf("<a" + Attributes(1025) + "/>"), HasSubstr("too many attributes"));
    ParserOptions options;
    options.mNamespaces = true;
    EXPECT_THAT(XMLErrorOf("<a" + Attributes(1025) + "/>", options), HasSubstr("too many attributes"));
}

TEST(HostileXML, MayHaveAHugeAttribute) {
    const std::string value(2000000, 'v');
    EXPECT_EQ(CallsFor("<a b='" + value + "'/>"), "<a b=" + value + "> </a>");
}

TEST(HostileXML, MayUseEntitiesModestly) {
    EXPECT_EQ(CallsFor("<!DOCTYPE a [<!ENTITY x 'y'><!ENTITY z '&x;&x;'>]><a b='&z;'>&z;&x;</a>"),
              "<a b=yy> [yyy] </a>");
}

TEST(HostileXML, CannotExpandEntitiesWithoutEnd) {
    std::string entities = "<!ENTITY e0 '0123456789'>";
    for (int i = 1; i < 12; ++i) {
        const std::string before = "&e" + std::to_string(i - 1) + ";";
        entities += "<!ENTITY e" + std::to_string(i) + " '" + Repeated(before, 10) + "'>";
    }
    const std::string doctype = "<!DOCTYPE a [" + entities + "]>";
    EXPECT_THAT(XMLErrorOf(doctype + "<a>&e11;</a>"), HasSubstr("amplification"));
    EXPECT_THAT(XMLErrorOf(doctype + "<a b='&e11;'/>"), HasSubstr("amplification"));
    EXPECT_THAT(XMLErrorOf(doctype + "<a>" + Repeated("&e3;", 1000) + "</a>"), HasSubstr("amplification"));
}

TEST(HostileXML, CannotRepeatOneLongEntityWithoutEnd) {
    const std::string doctype = "<!DOCTYPE a [<!ENTITY e '" + std::string(8000, 'x') + "'>]>";
    EXPECT_EQ(XMLErrorOf(doctype + "<a>" + Repeated("&e;", 100) + "</a>"), "no error");
    EXPECT_THAT(XMLErrorOf(doctype + "<a>" + Repeated("&e;", 10000) + "</a>"), HasSubstr("amplification"));
}

TEST(HostileXML, CannotReferToItself) {
    EXPECT_THAT(XMLErrorOf("<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a>&e;</a>"),
                HasSubstr("recursive"));
}

TEST(HostileXML, IsBoundedInItsDocumentType) {
    std::string chain = "<!ENTITY e0 'x'>";
    for (int i = 1; i < 100000; ++i) {
        chain += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";'>";
    }
    EXPECT_THAT(XMLErrorOf("<!DOCTYPE a [" + chain + "]><a>&e99999;</a>"),
                HasSubstr("document type too long"));
    EXPECT_THAT(XMLErrorOf("<!DOCTYPE a [" + Repeated("<!ELEMENT a (b|c|d)>", 10000) + "]><a/>"),
                HasSubstr("document type too long"));
    EXPECT_THAT(XMLErrorOf("<!DOCTYPE a [<!ATTLIST a" + Repeated(" b CDATA 'x'", 10000) + ">]><a/>"),
                HasSubstr("document type too long"));
    // What stands outside it doesn't count.
    EXPECT_EQ(XMLErrorOf(Repeated(" ", 100000) + "<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>" +
                         Repeated(" \n<?p?>", 10000)),
              "no error");
}

TEST(HostileXML, MayHaveDefaultAttributesWithinBounds) {
    const std::string doctype = "<!DOCTYPE a [<!ATTLIST b c CDATA 'd' e CDATA #IMPLIED>]>";
    EXPECT_EQ(CallsFor(doctype + "<a><b/><b c='1'/></a>"), "<a> <b c=d> </b> <b c=1> </b> </a>");
    const std::string longer = "<!DOCTYPE a [<!ATTLIST b c CDATA '" + std::string(8000, 'd') + "'>]>";
    EXPECT_EQ(XMLErrorOf(longer + "<a>" + Repeated("<b/>", 100) + "</a>"), "no error");
    EXPECT_THAT(XMLErrorOf(longer + "<a>" + Repeated("<b/>", 1000) + "</a>"),
                HasSubstr("default attributes expand too far"));
    EXPECT_EQ(XMLErrorOf(longer + "<a>" + Repeated("<b c=''/>", 1000) + "</a>"), "no error");
}

TEST(HostileXML, NeverReachesOutside) {
    const std::filesystem::path secret = std::filesystem::path(testing::TempDir()) / "nuocore_outside.txt";
    std::ofstream(secret) << "<!ENTITY e 'secret'>";
    const std::string address = "file://" + secret.string();
    EXPECT_THAT(XMLErrorOf("<!DOCTYPE a [<!ENTITY e SYSTEM '" + address + "'>]><a>&e;</a>"),
                HasSubstr("external entity"));
    EXPECT_THAT(XMLErrorOf("<!DOCTYPE a [<!ENTITY e SYSTEM '" + address + "'>]><a b='&e;'/>"),
                StartsWith("Cannot read XML: "));
    // An external document type is passed over, and what only it could declare is unknown.
    EXPECT_EQ(CallsFor("<!DOCTYPE a SYSTEM '" + address + "'><a>t</a>"), "<a> [t] </a>");
    EXPECT_THAT(XMLErrorOf("<!DOCTYPE a SYSTEM '" + address + "'><a>&e;</a>"), HasSubstr("isn't declared"));
    EXPECT_THAT(XMLErrorOf("<!DOCTYPE a [<!ENTITY % p SYSTEM '" + address + "'> %p;]><a>&e;</a>"),
                HasSubstr("isn't declared"));
    std::filesystem::remove(secret);
}

TEST(HostileXML, IsReadInLinearTime) {
    // Each would take minutes if text, names or attributes were copied again for every piece.
    EXPECT_EQ(XMLErrorOf("<a>" + Repeated("&amp;\n", 1000000) + "</a>"), "no error");
    EXPECT_EQ(XMLErrorOf("<a>" + Repeated("<b c='d'/>", 300000) + "</a>"), "no error");
    EXPECT_EQ(XMLErrorOf("<a>" + Repeated("x<!---->", 500000) + "</a>"), "no error");
    ParserOptions options;
    options.mLimits.mMaxChunkUnits = 2;
    EXPECT_EQ(XMLErrorOf("<a>" + std::string(1000000, 'x') + "</a>", options), "no error");
}

}  // namespace
