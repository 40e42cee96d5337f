#include <gmock/gmock.h>

#include <tuple>

#include "ToolRun.h"

namespace tool_test {

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class PayloadVerbs : public OnBus {};

}  // namespace

TEST_F(PayloadVerbs, DecodePrintsTheDictionaryAsOneJSONLine) {
    const auto xml =
        Run({"payload", "decode"},
            "<message><command>install</command><progress><value>55</value></progress></message>");
    EXPECT_EQ(xml.mExitCode, 0);
    EXPECT_EQ(xml.mOutput, "{\"command\":\"install\",\"progress\":{\"value\":\"55\"}}\n");
    EXPECT_THAT(xml.mErrors, IsEmpty());

    const auto json = Run({"payload", "decode"}, " {\"b\":[1,2.5,null],\"a\":\"x\\ny\"}");
    EXPECT_EQ(json.mExitCode, 0);
    EXPECT_EQ(json.mOutput, "{\"a\":\"x\\ny\",\"b\":[1,2.5,null]}\n");
}

TEST_F(PayloadVerbs, DecodeShowsEachAssertionAsAJSONLineOnTheErrorOutput) {
    const auto run = Run({"payload", "decode"}, "<message><a>1</a><a>2</a></message>");
    EXPECT_EQ(run.mExitCode, 0);
    EXPECT_EQ(run.mOutput, "{\"a\":\"2\"}\n");
    EXPECT_EQ(
        run.mErrors,
        "{\"expression\":\"objectMap.count(tag) == 0\",\"function\":\"nuoplexasupport::`anonymous-"
        "namespace'::PlexaMessageXMLParseHandler::EndElement\",\"message\":\"Found duplicate tag in Plexa "
        "XML payload: <a>\"}\n");
}

TEST_F(PayloadVerbs, DecodeFailsWithAnExplanation) {
    for (const auto& [payload, reason] : {std::pair<const char*, const char*>{"[1]", "it is no object"},
                                          {"<a><b></a>", "cannot decode the payload as XML: "},
                                          {"{\"a\":", "cannot decode the payload as JSON: "},
                                          {"plain words", "neither like XML"},
                                          {"", "it is empty, and an empty one reaches nobody"},
                                          {" <?xml version=\"1.0\"?><a/>", "as XML: "}}) {
        const auto run = Run({"payload", "decode"}, payload);
        EXPECT_EQ(run.mExitCode, 1) << payload;
        EXPECT_THAT(run.mErrors, HasSubstr(reason)) << payload;
        EXPECT_THAT(run.mOutput, IsEmpty()) << payload;
    }
}

TEST_F(PayloadVerbs, DecodeTakesTheFormatItIsTold) {
    EXPECT_EQ(Run({"payload", "decode", "--format", "xml"}, "<a><b>1</b></a>").mOutput, "{\"b\":\"1\"}\n");
    EXPECT_EQ(Run({"payload", "decode", "--format", "json"}, "<a><b>1</b></a>").mExitCode, 1);
    EXPECT_EQ(Run({"payload", "decode", "--format", "xml"}, "{}").mExitCode, 1);
}

TEST_F(PayloadVerbs, HostilePayloadsAreRefusedRatherThanDecoded) {
    std::string deep;
    for (int depth = 0; depth < 100000; ++depth) deep += "<a>";
    EXPECT_EQ(Run({"payload", "decode"}, deep).mExitCode, 1);
    EXPECT_EQ(Run({"payload", "decode"}, std::string(100000, '[')).mExitCode, 1);
    EXPECT_EQ(Run({"payload", "decode"},
                  "<!DOCTYPE a [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><a><b>&x;</b></a>")
                  .mOutput.find("root"),
              std::string::npos);
}

TEST_F(PayloadVerbs, InputBeyondTheLimitIsRefused) {
    const auto run = Run({"payload", "decode"}, "{" + std::string((std::size_t{64} << 20U) + 1, ' '));
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("larger than 64 MiB"));
}

TEST_F(PayloadVerbs, EncodePrintsThePayloadByteForByte) {
    const auto xml = Run({"payload", "encode", "--root", "request"},
                         R"({"__attributes__":{"version":"2"},"command":"install","flags":{"silent":true},)"
                         R"("name":"a<b"})");
    EXPECT_EQ(xml.mExitCode, 0);
    EXPECT_EQ(
        xml.mOutput,
        "<?xml version=\"1.0\" encoding=\"utf-8\" ?><request "
        "version=\"2\"><command>install</command><flags><silent>true</silent></flags><name>a&lt;b</name></"
        "request>");
    EXPECT_THAT(xml.mErrors, IsEmpty());

    const auto json = Run({"payload", "encode", "--root", "request", "--flavor", "json"}, "{ \"n\" : 1 }");
    EXPECT_EQ(json.mExitCode, 0);
    EXPECT_EQ(json.mOutput, "{\"n\":1}");
}

TEST_F(PayloadVerbs, EncodeWritesMarkersForWhatHasNoFormInXMLAndSaysSo) {
    const auto run = Run({"payload", "encode", "--root", "message"}, "{\"count\":5}");
    EXPECT_EQ(run.mExitCode, 0);
    EXPECT_EQ(
        run.mOutput,
        "<?xml version=\"1.0\" encoding=\"utf-8\" ?><message><count><ERROR_INT64_T/></count></message>");
    EXPECT_EQ(
        run.mErrors,
        "{\"expression\":\"false\",\"function\":\"nuoplexasupport::GetXMLUTF8String\",\"message\":\"int64_t "
        "variant type in GetXMLUTF8String with no well defined expected output\"}\n");
}

TEST_F(PayloadVerbs, EncodeRefusesNamesAndTextsThatXMLCanNotHold) {
    for (const auto& [root, dictionary, reason] :
         {std::tuple{"'a'", "{}", "\"'a'\" is no XML name"},
          {"m", R"({"1b":1})", "\"1b\" is no XML name"},
          {"m", R"({"a":{"b":"\u0001"}})", "the value of \"b\" has characters that XML can't hold"},
          {"m", R"({"__attributes__":{"b":{}}})", "the attribute \"b\" is no text"}}) {
        const auto run = Run({"payload", "encode", "--root", root}, dictionary);
        EXPECT_EQ(run.mExitCode, 1) << dictionary;
        EXPECT_THAT(run.mErrors, HasSubstr(reason)) << dictionary;
        EXPECT_THAT(run.mOutput, IsEmpty()) << dictionary;
        EXPECT_EQ(Run({"payload", "encode", "--flavor", "json"}, dictionary).mExitCode, 0) << dictionary;
    }
}

TEST_F(PayloadVerbs, EncodeFailsForWhatIsNoDictionary) {
    EXPECT_EQ(Run({"payload", "encode", "--root", "m"}, "[1]").mExitCode, 1);
    EXPECT_EQ(Run({"payload", "encode", "--root", "m"}, "").mExitCode, 1);
    const auto run = Run({"payload", "encode", "--root", "m"}, "{\"__attributes__\":5}");
    EXPECT_EQ(run.mExitCode, 1);
    EXPECT_THAT(run.mErrors, HasSubstr("__attributes__"));
    EXPECT_THAT(run.mOutput, IsEmpty());
}

}  // namespace tool_test
