#include <CLI/CLI.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Asker.h"
#include "BusConnection.h"
#include "Failure.h"
#include "Input.h"
#include "Output.h"
#include "PayloadOptions.h"
#include "Verbs.h"
#include "nuoplexasupport/nuoplexasupport.h"

namespace orvane::plexa::tool {

using nuocore::ImmutableString;
using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;
using nuocore::utility::Guid;

namespace {

nuoplexasupport::PlexaRequestIDKeyType KeyTypeOf(const std::string& inKey) {
    if (inKey == "request-id") return nuoplexasupport::kPlexaRequestIDKeyType_HyphenatedRequestId;
    if (inKey == "requestid") return nuoplexasupport::kPlexaRequestIDKeyType_LowerCaseRequestId;
    if (inKey == "request-context") return nuoplexasupport::kPlexaRequestIDKeyType_RequestContext;
    return nuoplexasupport::kPlexaRequestIDKeyType_RequestId;
}

struct RequestOptions {
    ConnectionOptions mConnection;
    PayloadOptions mPayload;
    std::string mType;
    std::string mResponse;
    std::string mKey = "requestId";
    std::optional<double> mTimeout = 10;
};

void Request(const RequestOptions& inOptions) {
    const bool isXML = inOptions.mPayload.mIsXML;
    const std::vector<std::string> words = inOptions.mPayload.Words();
    const bool isInput = words.size() == 1 && words[0] == "-";
    const VariantObject dictionary =
        isInput ? ParseObject(ReadInput(), "the dictionary on the standard input") : DictionaryOf(words);
    // Says now what could not be written or is too large, rather than sending an error marker, or nothing.
    const Guid id;
    VariantObject sent = dictionary;
    sent[UTF8String(std::string_view(inOptions.mKey))] = MakeValue(id.AsUTF8String());
    CheckPayload(
        SendableText(sent, isXML ? PayloadFormat::kXML : PayloadFormat::kJSON, inOptions.mPayload.mRoot));

    const Interruption interruption;
    const auto answers = std::make_shared<Asker::Answers>();
    BusConnection bus(inOptions.mConnection);
    const auto asker = boost::make_shared<Asker>(answers);
    bus.Connect(interruption);
    nuoplexasupport::SendClientRequest(
        asker, ImmutableString(inOptions.mType), ImmutableString(inOptions.mResponse), id, dictionary,
        isXML ? nuoplexasupport::kPlexaSerializationFlavor_XML
              : nuoplexasupport::kPlexaSerializationFlavor_JSON,
        KeyTypeOf(inOptions.mKey), UTF8String(std::string_view(inOptions.mPayload.mRoot)));
    if (!interruption.Await(answers->Descriptor(), After(inOptions.mTimeout))) {
        throw Failure(kExitTimeout, interruption.HasCome()
                                        ? "interrupted before an answer came"
                                        : "no answer of type \"" + PlainLine(inOptions.mResponse) +
                                              "\" came in time; is the one who answers on the bus "
                                              "(\"plexa endpoints\")?");
    }
    Output(interruption.Descriptor()).Line(JSONLine(VariantValue(*answers->Take())));
}

}  // namespace

void AddRequestVerb(CLI::App& ioApp) {
    CLI::App* const verb =
        ioApp.add_subcommand("request", "Ask, wait for the answer and print its dictionary as one JSON line");
    const auto options = std::make_shared<RequestOptions>();
    AddMessageType(*verb, "type", options->mType, "Message type of the request");
    verb->add_option("--response", options->mResponse, "Message type of the answer")
        ->required()
        ->check(CheckMessageType)
        ->type_name("TYPE");
    AddPayloadOptions(
        *verb, options->mPayload, "request",
        "Pairs key=text and key:=JSON, or one JSON object, or \"-\" for one on the standard input "
        "(default: an empty dictionary, written as JSON)");
    verb->add_option("--key", options->mKey,
                     "Key of the request id: requestId, request-id, requestid or request-context (default: "
                     "requestId)")
        ->check(CLI::IsMember({"requestId", "request-id", "requestid", "request-context"}).description(""))
        ->type_name("KEY");
    AddSeconds(*verb, "--timeout", options->mTimeout, "Wait this long for the answer (default: 10)");
    AddConnectionOptions(*verb, options->mConnection);
    verb->callback([options] { Request(*options); });
    verb->footer(
        "Examples:\n"
        "  plexa request org.example.ask --response org.example.told question=why\n"
        "  plexa request org.example.ask --response org.example.told --xml --key request-context a=1\n\n"
        "Exit codes: 0 answered, 1 could not be asked, 2 wrong command line, 3 no answer in time, 4 no "
        "broker.");
}

}  // namespace orvane::plexa::tool
