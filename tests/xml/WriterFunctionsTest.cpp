// The writer's four functions one by one, and what the whole looks like to those who watch it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "nuocore/Assertion.h"
#include "nuocore/Variant.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {
namespace {

using nuocore::oUTF8StringStream;
using nuocore::serialization::MakeValue;

VariantObject Entry(const char* inKey, const VariantValue& inValue) {
    VariantObject object;
    object[inKey] = MakeValue(inValue);
    return object;
}

TEST(WriterFunctions, WriteBehindWhatStandsInTheStream) {
    oUTF8StringStream stream;
    stream << "before ";
    WriteXMLEscaped("a&b", stream);
    stream << " between ";
    WriteXMLElement("t", VariantValue(UTF8String("x")), stream);
    GetXMLUTF8String(VariantValue(Entry("k", true)), stream);
    stream << " behind";
    EXPECT_EQ(stream.str(), "before a&amp;b between <t>x</t><k>true</k> behind");
}

TEST(WriterFunctions, EscapeEachByteOfATextUpToItsEnd) {
    oUTF8StringStream stream;
    WriteXMLEscaped("\"&'<>\"&'<> ", stream);
    EXPECT_EQ(stream.str(), "&quot;&amp;&apos;&lt;&gt;&quot;&amp;&apos;&lt;&gt; ");
    stream.Clear();
    std::string others;
    for (int byte = 1; byte < 256; ++byte) {
        if (std::string("\"&'<>").find(static_cast<char>(byte)) == std::string::npos) {
            others += static_cast<char>(byte);
        }
    }
    WriteXMLEscaped(others.c_str(), stream);
    EXPECT_EQ(stream.view(), others);
    stream.Clear();
    WriteXMLEscaped("", stream);
    EXPECT_EQ(stream.view(), "");
}

TEST(WriterFunctions, TakeEveryTextForAName) {
    EXPECT_EQ(CreateXMLPayload(VariantObject(), ""), "<?xml version=\"1.0\" encoding=\"utf-8\" ?><></>");
    oUTF8StringStream stream;
    GetXMLUTF8String(VariantValue(Entry("1 2/", VariantValue())), stream);
    EXPECT_EQ(stream.str(), "<1 2/></1 2/>");
}

TEST(WriterFunctions, CloseANestedElementOfNothingButAttributesItself) {
    oUTF8StringStream stream;
    const VariantObject inner = Entry("__attributes__", Entry("x", UTF8String("1")));
    WriteXMLElement("message", VariantValue(Entry("a", inner)), stream);
    EXPECT_EQ(stream.str(), "<message><a x=\"1\"/></message>");
}

// Looks into the stream at the moment of an assertion.
class Peek {
  public:
    explicit Peek(const oUTF8StringStream& inStream)
        : mBefore(nuocore::debug::SetAssertionHandler([this, &inStream](const auto& /*inRecord*/) {
              mSeen = inStream.str();
              return false;
          })) {}
    Peek(const Peek&) = delete;
    Peek& operator=(const Peek&) = delete;
    ~Peek() { nuocore::debug::SetAssertionHandler(mBefore); }
    [[nodiscard]] const UTF8String& Seen() const { return mSeen; }

  private:
    UTF8String mSeen = "no assertion";
    nuocore::debug::AssertionHandler mBefore;
};

TEST(WriterFunctions, WriteAMarkerOnlyAfterItsAssertion) {
    for (const VariantValue& value : {VariantValue(std::int64_t{1}), VariantValue(std::uint64_t{1}),
                                      VariantValue(1.0), VariantValue(VariantArray()), VariantValue(1)}) {
        oUTF8StringStream stream;
        const Peek peek(stream);
        WriteXMLElement("a", value, stream);
        EXPECT_EQ(peek.Seen(), "<a>");
        EXPECT_NE(stream.str(), "<a></a>");
    }
}

TEST(WriterFunctions, WriteWhatAnArrayHoldsNowhere) {
    VariantArray array;
    array.push_back(MakeValue(UTF8String("secret")));
    EXPECT_EQ(CreateXMLPayload(VariantValue(Entry("a", array)), "m"),
              "<?xml version=\"1.0\" encoding=\"utf-8\" ?><m><a><ERROR_ARRAY/></a></m>");
}

}  // namespace
}  // namespace nuoplexasupport
