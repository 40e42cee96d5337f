#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "BusConnection.h"
#include "Failure.h"
#include "Input.h"
#include "PayloadOptions.h"
#include "Verbs.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;

namespace {

struct SendOptions {
    ConnectionOptions mConnection;
    PayloadOptions mPayload;
    std::string mType;
    std::string mTarget;
    bool mIsAnyway = false;
};

bool IsInput(const std::vector<std::string>& inWords) { return inWords.size() == 1 && inWords[0] == "-"; }

UTF8String RawText(const std::vector<std::string>& inWords) {
    if (inWords.empty() || IsInput(inWords)) return ReadInput();
    if (inWords.size() > 1) {
        throw Failure(
            kExitUsage,
            "cannot send several raw texts: quote the text, or send a dictionary with --json or --xml");
    }
    return UTF8String(std::string_view(inWords[0]));
}

UTF8String PayloadTextOf(const PayloadOptions& inOptions) {
    const std::vector<std::string> words = inOptions.Words();
    if (!inOptions.mIsXML && !inOptions.mIsJSON) {
        UTF8String text = RawText(words);
        if (text.empty()) {
            throw Failure(kExitFailure,
                          "cannot send this payload: it is empty, and an empty one reaches nobody");
        }
        if (text.find('\0') != UTF8String::npos) {
            throw Failure(kExitFailure, "cannot send this payload: it has a NUL byte, at which payloads end");
        }
        return text;
    }
    const auto dictionary = IsInput(words) ? ParseObject(ReadInput(), "the dictionary on the standard input")
                                           : DictionaryOf(words);
    return SendableText(dictionary, inOptions.mIsXML ? PayloadFormat::kXML : PayloadFormat::kJSON,
                        inOptions.mRoot);
}

api5::EndPoint Destination(const BusConnection& inBus, const SendOptions& inOptions) {
    if (inOptions.mTarget.empty()) return api5::EndPoint::INVALID_ENDPOINT;
    for (const api5::EndPoint& endPoint : inBus.EndPoints()) {
        if (AppIdOf(endPoint) == inOptions.mTarget) return endPoint;
    }
    if (inOptions.mIsAnyway) return api5::EndPoint::INVALID_ENDPOINT;
    throw Failure(kExitFailure, "cannot send to \"" + PlainLine(inOptions.mTarget) +
                                    "\": it is not on the bus; \"plexa endpoints\" lists who is, and with "
                                    "--anyway the message goes to every process");
}

void Send(const SendOptions& inOptions) {
    const UTF8String payload = PayloadTextOf(inOptions.mPayload);
    const Interruption interruption;
    BusConnection bus(inOptions.mConnection);
    bus.Connect(interruption);
    bus.Send(inOptions.mType, payload, Destination(bus, inOptions));
    bus.Leave();
    if (bus.CountFailures() != 0) {
        throw Failure(kExitFailure,
                      "the message has not been taken by everybody it was for, as told above; try again once "
                      "they answer");
    }
}

}  // namespace

void AddSendVerb(CLI::App& ioApp) {
    CLI::App* const verb = ioApp.add_subcommand(
        "send", "Send a message: a raw text (from the standard input, if none is given), or a dictionary");
    const auto options = std::make_shared<SendOptions>();
    AddMessageType(*verb, "type", options->mType, "Message type");
    AddPayloadOptions(*verb, options->mPayload, "message",
                      "A raw text; with --xml or --json pairs key=text and key:=JSON, or one JSON object; "
                      "\"-\" for the standard input");
    verb->add_option("--to", options->mTarget, "App id of the receiver (default: every process)")
        ->check(CheckNotEmpty)
        ->type_name("APPID");
    verb->add_flag("--anyway", options->mIsAnyway, "Send to every process when --to names none on the bus");
    AddConnectionOptions(*verb, options->mConnection);
    verb->callback([options] { Send(*options); });
    verb->footer(
        "Examples:\n"
        "  plexa send org.example.news 'hello, bus'\n"
        "  plexa send org.example.news --xml title=News text='it works'\n"
        "  plexa send org.example.news --json count:=3 'tags:=[\"a\",\"b\"]' --to PHOTO-2.1\n"
        "  echo '{\"a\":1}' | plexa send org.example.news --json -\n\n"
        "Exit codes: 0 handed over, 1 could not be handed over, 2 wrong command line, 4 no broker.");
}

}  // namespace orvane::plexa::tool
