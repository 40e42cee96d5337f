// Strings: conversions between UTF-8 and UTF-16, and the string streams.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "data_support.h"
#include "nuocore/StringConversion.h"
#include "nuocore/Strings.h"

namespace {

using nuocore::iUTF8StringStream;
using nuocore::oUTF8StringStream;
using nuocore::UTF16String;
using nuocore::UTF8String;
using namespace nuocore::string;
using data_test::CommaLocale;

std::u16string Widened(std::string_view inText) {
    const UTF16String text = UTF8to16(inText);
    return {text.begin(), text.end()};
}

std::string Narrowed(std::u16string_view inText) {
    const UTF8String text = UTF16to8(inText);
    return {text.begin(), text.end()};
}

std::string EncodeUTF8(std::uint32_t inPoint) {
    std::string text;
    if (inPoint < 0x80) {
        text += static_cast<char>(inPoint);
        return text;
    }
    const int trail = inPoint < 0x800 ? 1 : inPoint < 0x10000 ? 2 : 3;
    const std::array<unsigned, 4> leads = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(leads[static_cast<std::size_t>(trail)] | (inPoint >> (6 * trail)));
    for (int i = trail - 1; i >= 0; --i) {
        text += static_cast<char>(0x80U | ((inPoint >> (6 * i)) & 0x3FU));
    }
    return text;
}

std::u16string EncodeUTF16(std::uint32_t inPoint) {
    if (inPoint < 0x10000) {
        return {static_cast<char16_t>(inPoint)};
    }
    return {static_cast<char16_t>(0xD800 + ((inPoint - 0x10000) >> 10U)),
            static_cast<char16_t>(0xDC00 + ((inPoint - 0x10000) & 0x3FFU))};
}

// The rule for broken UTF-8 written down a second time, as the table of well-formed sequences.
std::u16string WidenedByTable(std::string_view inText) {
    struct Range {
        unsigned mLow, mHigh;
    };
    static const std::vector<std::vector<Range>> kRows = {
        {{0x00, 0x7F}},
        {{0xC2, 0xDF}, {0x80, 0xBF}},
        {{0xE0, 0xE0}, {0xA0, 0xBF}, {0x80, 0xBF}},
        {{0xE1, 0xEC}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xED, 0xED}, {0x80, 0x9F}, {0x80, 0xBF}},
        {{0xEE, 0xEF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF0, 0xF0}, {0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF1, 0xF3}, {0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF4, 0xF4}, {0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}},
    };
    std::u16string text;
    while (!inText.empty()) {
        std::size_t longest = 0;
        bool whole = false;
        for (const auto& row : kRows) {
            std::size_t matched = 0;
            while (matched < row.size() && matched < inText.size() &&
                   static_cast<unsigned char>(inText[matched]) >= row[matched].mLow &&
                   static_cast<unsigned char>(inText[matched]) <= row[matched].mHigh) {
                ++matched;
            }
            if (matched > longest) {
                longest = matched;
                whole = matched == row.size();
            }
        }
        if (whole) {
            std::uint32_t point = static_cast<unsigned char>(inText[0]);
            point = longest == 1 ? point : point & (0x7FU >> longest);
            for (std::size_t i = 1; i < longest; ++i) {
                point = (point << 6U) | (static_cast<unsigned char>(inText[i]) & 0x3FU);
            }
            text += EncodeUTF16(point);
        } else {
            text += u'\xFFFD';
            longest = std::max<std::size_t>(longest, 1);
        }
        inText.remove_prefix(longest);
    }
    return text;
}

TEST(StringConversion, CarriesEveryCharacterBothWays) {
    for (std::uint32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point >= 0xD800 && point <= 0xDFFF) {
            continue;
        }
        const std::string narrow = EncodeUTF8(point);
        const std::u16string wide = EncodeUTF16(point);
        ASSERT_EQ(Widened(narrow), wide) << std::hex << point;
        ASSERT_EQ(Narrowed(wide), narrow) << std::hex << point;
        ASSERT_TRUE(IsValidUTF8(narrow)) << std::hex << point;
        ASSERT_TRUE(IsValidUTF16(wide)) << std::hex << point;
    }
}

TEST(StringConversion, ReplacesEachMaximalPartOfBrokenUTF8Once) {
    struct Example {
        std::string mText;
        std::u16string mWide;
    };
    const std::vector<Example> examples = {
        // Overlong forms, encoded surrogates, values too great, sequences cut short, lone continuations.
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", u"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\x41"},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", u"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\x41"},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", u"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\x41\xFFFD\xFFFD\x42"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\xFFFD\xFFFD\xFFFD\xFFFD\x41"},
        {"ab\xE2\x82", u"ab\xFFFD"},
        {"\xF0\x9F\x98", u"\xFFFD"},
        {"\x80", u"\xFFFD"},
    };
    for (const Example& example : examples) {
        EXPECT_EQ(Widened(example.mText), example.mWide);
        EXPECT_FALSE(IsValidUTF8(example.mText));
    }
}

TEST(StringConversion, FollowsTheTableOnRandomBytes) {
    const std::string bytes =
        "aZ\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xED\xEE\xEF\xF0\xF1\xF4\xF5\xFF";
    std::mt19937 random(11);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 40, 'x');
        for (std::size_t i = 0, count = random() % 8; i < count; ++i) {
            text.insert(random() % (text.size() + 1), 1, bytes[random() % bytes.size()]);
        }
        const std::u16string expected = WidenedByTable(text);
        ASSERT_EQ(Widened(text), expected);
        ASSERT_EQ(IsValidUTF8(text), Narrowed(expected) == text);
    }
}

TEST(StringConversion, FindsAForeignCharacterAtEveryPlaceOfAnASCIIText) {
    for (std::size_t size = 0; size < 70; ++size) {
        for (std::size_t place = 0; place <= size; ++place) {
            std::string narrow(size, 'q');
            std::u16string wide(size, u'q');
            narrow.insert(place, "\xC3\xA9");
            wide.insert(place, u"\u00E9");
            ASSERT_EQ(Widened(narrow), wide);
            ASSERT_EQ(Narrowed(wide), narrow);
            wide[place] = u'\xDC00';
            ASSERT_FALSE(IsValidUTF16(wide));
            narrow[place] = '\x80';
            ASSERT_FALSE(IsValidUTF8(narrow));
        }
    }
}

TEST(StringConversion, ReplacesUnpairedSurrogates) {
    EXPECT_EQ(Narrowed(u"\xD800"), "\xEF\xBF\xBD");
    EXPECT_EQ(Narrowed(u"a\xD800"
                       u"b"),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(Narrowed(u"\xDC00\xD800"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(Narrowed(u"\xD800\xD83D\xDE00"), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
    EXPECT_FALSE(IsValidUTF16(u"\xD800"));
    EXPECT_FALSE(IsValidUTF16(u"x\xDC00x"));
}

TEST(StringConversion, KeepsAPairWhereverItStandsInALongText) {
    for (std::size_t before = 120; before < 140; ++before) {
        std::u16string wide(before, u'\u0416');
        wide += u"\xD83D\xDE00";
        wide.append(300, u'z');
        ASSERT_EQ(Widened(Narrowed(wide)), wide);
    }
}

TEST(StringConversion, CarriesNULInsideAText) {
    EXPECT_EQ(Widened(std::string_view("a\0b", 3)), std::u16string(u"a\0b", 3));
    EXPECT_EQ(Narrowed(std::u16string_view(u"a\0b", 3)), std::string("a\0b", 3));
}

TEST(StringConversion, AppendsBehindWhatStandsThere) {
    UTF8String narrow("left ");
    AppendUTF16to8(u"r\u00EFght", narrow);
    EXPECT_EQ(narrow, "left r\xC3\xAFght");
    UTF16String wide(u"left ");
    AppendUTF8to16("r\xC3\xAFght", wide);
    EXPECT_EQ(wide, u"left r\u00EFght");
}

TEST(StringConversion, AssignsWithoutTakingNewMemory) {
    UTF16String wide;
    AssignUTF8to16(std::string(100, 'a'), wide);
    const char16_t* const memory = wide.data();
    AssignUTF8to16("short", wide);
    EXPECT_EQ(wide, u"short");
    AssignUTF8to16(std::string(100, 'b'), wide);
    EXPECT_EQ(wide.data(), memory);
}

TEST(StringConversion, CarriesBytesBetweenNarrowStringKinds) {
    const std::string bytes("\xFFx\0y", 4);
    EXPECT_EQ(UTF8ToStdString(UTF8String(bytes)), bytes);
    EXPECT_EQ(StdToUTF8String(bytes), UTF8String(bytes));
    EXPECT_EQ(StdToUTF16String("\xC3\xA9"), u"\u00E9");
}

TEST(StringConversion, TakesTheEmptyText) {
    EXPECT_EQ(Widened({}), u"");
    EXPECT_EQ(Narrowed({}), "");
    EXPECT_TRUE(IsValidUTF8({}));
    EXPECT_TRUE(IsValidUTF16({}));
}

TEST(StringStream, WritesNumbersInTheClassicLocaleWhateverTheHostsIs) {
    const CommaLocale hostLocale;
    oUTF8StringStream stream;
    stream << 1234567.5 << ' ' << 1000000;
    EXPECT_EQ(stream.str(), "1.23457e+06 1000000");
}

TEST(StringStream, ReadsNumbersInTheClassicLocaleWhateverTheHostsIs) {
    const CommaLocale hostLocale;
    iUTF8StringStream stream(UTF8String("2.5 1000"));
    double real = 0;
    int whole = 0;
    stream >> real >> whole;
    EXPECT_EQ(real, 2.5);
    EXPECT_EQ(whole, 1000);
}

TEST(StringStream, MixesFormattedAndPlainTextInOrder) {
    oUTF8StringStream stream;
    stream << "a" << 'b' << 3;
    stream.Append("c\0d", 3);
    stream.put('e').write("fg", 2);
    EXPECT_EQ(stream.str(), UTF8String("ab3c\0defg", 9));
    EXPECT_EQ(stream.view(), std::string_view("ab3c\0defg", 9));
    EXPECT_TRUE(stream.good());
}

TEST(StringStream, IsEmptyAfterClear) {
    oUTF8StringStream stream;
    stream << "text";
    stream.Clear();
    EXPECT_TRUE(stream.str().empty());
    stream << "next";
    EXPECT_EQ(stream.str(), "next");
}

TEST(StringStream, WritesBehindATextThatWasSet) {
    oUTF8StringStream stream;
    stream << "old";
    stream.str(UTF8String("new"));
    stream << "er";
    EXPECT_EQ(std::move(stream).str(), "newer");
}

}  // namespace
