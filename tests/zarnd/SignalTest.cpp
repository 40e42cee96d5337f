// Payloads about notifications.
#include <gmock/gmock.h>

#include "notifications/Payloads.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::EndsWith;
using testing::StartsWith;

namespace {

std::string Registering(const std::string& inAction, const std::string& inInside) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\" ?><NEMessage action=\"" + inAction + "\">" + inInside +
           "</NEMessage>";
}

constexpr const char* kGood =
    "<observer-namespace>ns</observer-namespace><sub-type>new</sub-type><type>mail</type>";

std::string Told(const std::string& inPayload) { return WriteSignal(ReadSignal(ReadPayload(inPayload))); }

}  // namespace

TEST(Registrations, SayWhoObservesWhat) {
    const Registration one = ReadRegistration(Registering("RegisterObserver", kGood));
    EXPECT_TRUE(one.mIsRegistered);
    EXPECT_EQ(one.mObserver, (Observer{"mail", "new", "ns"}));
    EXPECT_FALSE(ReadRegistration(Registering("UnregisterObserver", kGood)).mIsRegistered);
}

TEST(Registrations, AreRefusedWhenSomethingIsMissingOrAbsurd) {
    const std::string longText(kMaxKindBytes + 1, 'x');
    for (const std::string& text :
         {std::string(), std::string("words"), std::string("{\"type\":\"mail\",\"sub-type\":\"\"}"),
          std::string("<NEMessage action=\"RegisterObserver\"/>"), std::string("<NEMessage action="),
          std::string("<other action=\"RegisterObserver\">") + kGood + "</other>", Registering("", kGood),
          Registering("Register", kGood),
          Registering("RegisterObserver", "<sub-type>new</sub-type><type>mail</type>"),
          Registering("RegisterObserver", "<observer-namespace>n</observer-namespace><type>mail</type>"),
          Registering("RegisterObserver", "<observer-namespace/><sub-type>new</sub-type><type>mail</type>"),
          Registering("RegisterObserver",
                      "<observer-namespace>n&#10;</observer-namespace><sub-type/><type>m</type>"),
          Registering("RegisterObserver", "<observer-namespace>n</observer-namespace><sub-type/><type>" +
                                              longText + "</type>")}) {
        EXPECT_THROW(ReadRegistration(text), PayloadError) << text;
    }
}

TEST(Signals, HaveAnAttributeAtTheRootAndTheirKindAsAttributes) {
    EXPECT_EQ(
        Told(R"({"type":"mail","sub-type":"new","values":{"from":"a & b","size":{"kb":"3"},"read":true}})"),
        "<?xml version=\"1.0\" encoding=\"utf-8\" ?><message from=\"zarnd\">"
        "<notification-signal type=\"mail\" sub-type=\"new\"></notification-signal>"
        "<values><from>a &amp; b</from><read>true</read><size><kb>3</kb></size></values></message>");
    EXPECT_THAT(Told("<m><type>&quot;&lt;</type><sub-type/></m>"),
                EndsWith("<notification-signal type=\"&quot;&lt;\" sub-type=\"\">"
                         "</notification-signal></message>"));
}

TEST(Signals, KeepLineEndsOfTheirTexts) {
    EXPECT_THAT(Told("{\"type\":\"t\",\"sub-type\":\"\",\"values\":{\"a\":\"1\\n2\\t3\"}}"),
                EndsWith("<values><a>1&#10;2&#9;3</a></values></message>"));
}

TEST(Signals, AreRefusedWhenXmlHasNoFormForThem) {
    for (const char* const text :
         {R"({"sub-type":"s"})", R"({"type":"","sub-type":"s"})", R"({"type":"t"})",
          R"({"type":"t\n","sub-type":"s"})", R"({"type":"t","sub-type":"s","values":{"a b":"x"}})",
          R"({"type":"t","sub-type":"s","values":{"1":"x"}})",
          R"({"type":"t","sub-type":"s","values":{"":"x"}})",
          R"({"type":"t","sub-type":"s","values":{"a":"\uFFFE"}})", R"({"type":"t\uFFFF","sub-type":"s"})",
          R"({"type":"t","sub-type":"s","values":{"a":"x","a/b":"y"}})",
          R"({"type":"t","sub-type":"s","values":{"a><b":"y"}})"}) {
        EXPECT_THROW(Told(text), PayloadError) << text;
    }
}

}  // namespace zarnd_test
