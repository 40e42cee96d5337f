#include "bus/Payload.h"

#include <gmock/gmock.h>

#include "service/Answer.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Pair;

namespace {

const std::string kHeader = R"(<?xml version="1.0" encoding="utf-8" ?>)";

DeploymentEvent Event(const Course& inCourse) { return {{"QRTX", "KQ7L"}, "20.0", inCourse}; }

}  // namespace

TEST(Payload, IsReadFromXMLAndJSONAlike) {
    const auto texts = ElementsAre(Pair("modules/module-id", "KQ7L"), Pair("product-sapcode", "QRTX"),
                                   Pair("product-vardo-version", "20.0"), Pair("requestId", "17"),
                                   Pair("silent-mode", "true"));
    EXPECT_THAT(ReadPayload("<request><modules><module-id>KQ7L</module-id></modules><product-sapcode>QRTX"
                            "</product-sapcode><product-vardo-version>20.0</product-vardo-version>"
                            "<requestId>17</requestId><silent-mode>true</silent-mode></request>"),
                texts);
    EXPECT_THAT(ReadPayload(R"( {"modules":{"module-id":"KQ7L"},"product-sapcode":"QRTX","n":7,"l":["x"],)"
                            R"("product-vardo-version":"20.0","requestId":"17","silent-mode":true})"),
                texts);
}

TEST(Payload, IsRefusedWhenItIsNoDictionaryOrTooMuch) {
    std::string deep;
    for (int i = 0; i != 100'000; ++i) deep += "<a>";
    std::string many = "{";
    for (int i = 0; i != 2000; ++i) many += (i == 0 ? "\"" : ",\"") + std::to_string(i) + "\":\"\"";
    for (const std::string& text : {std::string(), std::string("words"), std::string("<a>"), std::string("{"),
                                    std::string("[1]"), deep, many + "}"}) {
        EXPECT_THROW(ReadPayload(text), PayloadError) << text.substr(0, 20);
    }
}

TEST(Payload, NamesAModule) {
    EXPECT_EQ(ModuleOf({{"modules/module-id", "A"}, {"product-sapcode", "P"}}), (ModuleKey{"P", "A"}));
    EXPECT_EQ(ModuleOf({}), ModuleKey());
}

TEST(Payload, HasARequestIdUnderAnyOfTheFourKeys) {
    for (const char* const key : {"requestId", "request-id", "requestid", "request-context"}) {
        const auto id = RequestIdOf({{key, "17"}});
        ASSERT_TRUE(id) << key;
        EXPECT_EQ(id->mKey, key);
        EXPECT_EQ(id->mId, "17");
    }
    EXPECT_FALSE(RequestIdOf({{"id", "17"}}));
}

TEST(Event, HasTheDocumentedForm) {
    EXPECT_EQ(
        WriteEvent(Event(Error{ErrorCode::kConflictingProcesses, "process1,process2"})),
        kHeader +
            "<message><command>module-install</command><event-type>error</event-type>"
            "<product-sapcode>QRTX</product-sapcode><product-vardo-version>20.0</product-vardo-version>"
            "<module-id>KQ7L</module-id><cancellable>true</cancellable><error-data><error-code>131</error-code>"
            "<error-type>fatal</error-type><error-metadata>process1,process2</error-metadata></error-data>"
            "</message>");
    EXPECT_EQ(
        WriteEvent(Event(Progress{55})),
        kHeader +
            "<message><command>module-install</command><event-type>progress</event-type>"
            "<product-sapcode>QRTX</product-sapcode><product-vardo-version>20.0</product-vardo-version>"
            "<module-id>KQ7L</module-id><cancellable>true</cancellable><progress-data><progress-value>55"
            "</progress-value></progress-data></message>");
    EXPECT_THAT(WriteEvent(Event(Completed{})), HasSubstr("<event-type>completed</event-type>"));
    EXPECT_THAT(WriteEvent(Event(CancelledByAsker{})), HasSubstr("<event-type>cancelled</event-type>"));
    EXPECT_THAT(WriteEvent(Event(CancelledByAsker{})),
                EndsWith("<cancellable>false</cancellable></message>"));
}

TEST(Event, IsWellFormedWhateverItEchoes) {
    const DeploymentEvent event{{"<&>", "a\x01]]>"}, "\"'", Error{ErrorCode::kInternal, "\xFF"}};
    const PayloadTexts texts = ReadPayload(WriteEvent(event));
    EXPECT_EQ(texts.at("product-sapcode"), "<&>");
    EXPECT_EQ(texts.at("module-id"), "a ]]>");
    EXPECT_EQ(texts.at("product-vardo-version"), "\"'");
    EXPECT_EQ(texts.at("error-data/error-code"), "362");
}

TEST(Event, ReplacesTheCharactersThatXmlHasNoFormFor) {
    const DeploymentEvent event{{"P\xEF\xBF\xBE", "M\xEF\xBF\xBF"},
                                "1\xEF\xBF\xBD",
                                Error{ErrorCode::kInternal, "\xEF\xBF\xBE.\xEF\xBF\xBF"}};
    const PayloadTexts texts = ReadPayload(WriteEvent(event));
    EXPECT_EQ(texts.at("product-sapcode"), "P\xEF\xBF\xBD");
    EXPECT_EQ(texts.at("module-id"), "M\xEF\xBF\xBD");
    EXPECT_EQ(texts.at("product-vardo-version"), "1\xEF\xBF\xBD");
    EXPECT_EQ(texts.at("error-data/error-metadata"), "\xEF\xBF\xBD.\xEF\xBF\xBD");
}

TEST(Answer, CarriesTheIdAsItCame) {
    EXPECT_EQ(WriteAnswer({"request-id", "17"}, {}), R"({"request-id":"17","result":"done"})");
    EXPECT_EQ(
        WriteRefusal({"requestId", "17"}, ErrorCode::kBusy, "no"),
        R"({"error-data":{"error-code":"208","error-metadata":"no","error-type":"fatal"},"requestId":"17",)"
        R"("result":"error"})");
}

TEST(Answer, IsARefusalWhenTheBusWouldNotTakeIt) {
    std::vector<ListedModule> list(10'000,
                                   ListedModule{"P", "M", "1", "1", "installed", 1, std::string(100, 'f')});
    EXPECT_THAT(WriteAnswer({"requestId", "17"}, ListContent(list)), HasSubstr("the answer is too long"));
    list.resize(10);
    EXPECT_THAT(WriteAnswer({"requestId", "17"}, ListContent(list)), HasSubstr("\"result\":\"done\""));
}

}  // namespace zarnd_test
