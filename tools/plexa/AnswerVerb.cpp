#include <CLI/CLI.hpp>
#include <array>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Arrival.h"
#include "BusConnection.h"
#include "Failure.h"
#include "Mailbox.h"
#include "Output.h"
#include "PayloadOptions.h"
#include "Verbs.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::VariantObject;

namespace {

// In the order in which the last one that is there counts.
constexpr std::array<const char*, 4> kRequestIdKeys = {"requestId", "request-id", "requestid",
                                                       "request-context"};

struct AnswerOptions {
    ConnectionOptions mConnection;
    std::string mType;
    std::string mResponse;
    std::vector<std::string> mReply;
    std::string mRoot = "message";
    std::uint64_t mCount = 0;
    std::optional<double> mTimeout;
    bool mIsJSON = false;
    bool mIsQuiet = false;
};

struct Question {
    UTF8String mPayload;
    api5::EndPoint mSource;
};

struct Reply {
    VariantObject mQuestion;  // without request ids
    UTF8String mText;
};

// The answer to a question: its own dictionary with what the options add, and the request id under the key
// under which it came. Throws `Failure` for what can't be answered.
Reply MakeReply(const Question& inQuestion, const VariantObject& inAdded, const std::string& inRoot) {
    const std::optional<PayloadFormat> format = FormatOf(inQuestion.mPayload);
    if (!format) throw Failure(kExitFailure, "its payload is no dictionary");
    Reply reply{DecodePayload(inQuestion.mPayload, *format), {}};
    VariantObject dictionary;
    nuocore::serialization::VariantValuePtr requestId;
    const char* idKey = nullptr;
    for (const char* const key : kRequestIdKeys) {
        const auto found = reply.mQuestion.find(key);
        if (found == reply.mQuestion.end()) continue;
        idKey = key;
        requestId = found->second;
        reply.mQuestion.erase(found);
    }
    if (idKey == nullptr) throw Failure(kExitFailure, "it has no request id");
    dictionary = reply.mQuestion;
    for (const auto& [key, value] : inAdded) dictionary[key] = value;
    dictionary[idKey] = requestId;
    reply.mText = SendableText(dictionary, *format, inRoot);
    return reply;
}

// Answers one question and shows it. One that can't be answered is complained about, and that is all.
bool Serve(const Question& inQuestion, const AnswerOptions& inOptions, const VariantObject& inAdded,
           BusConnection& ioBus, Output& ioOutput) {
    const std::string sender = AppIdOf(inQuestion.mSource);
    Reply reply;
    try {
        reply = MakeReply(inQuestion, inAdded, inOptions.mRoot);
        ioBus.Send(inOptions.mResponse, reply.mText, inQuestion.mSource);
    } catch (const Failure& failure) {
        std::cerr << "plexa: cannot answer a question of " + PlainLine(sender) + ": " + failure.what() + "\n"
                  << std::flush;
        return false;
    }
    const Arrival shown{Arrival::Kind::kDictionary, inOptions.mType, {}, sender, {}, reply.mQuestion};
    ioOutput.Line(inOptions.mIsJSON ? AsJSON(shown)
                                    : AsText(shown, ioOutput.Strong(PlainLine(shown.mType))) + " from " +
                                          PlainLine(sender));
    return true;
}

void Answer(const AnswerOptions& inOptions) {
    const VariantObject added = DictionaryOf(inOptions.mReply);
    const Interruption interruption;
    Mailbox<Question> questions;
    BusConnection bus(inOptions.mConnection);
    // The library takes request ids out of what it hands to clients, so the question is read as it came.
    bus.mOnMessage = [&questions, &inOptions](const api5::SuiteMessage& inMessage) {
        if (TypeOf(inMessage) == inOptions.mType)
            questions.Put({PayloadOf(inMessage), inMessage.GetSource()});
    };
    bus.Connect(interruption);
    if (!inOptions.mIsQuiet) {
        std::cerr << "plexa: answering as " + PlainLine(AppIdOf(bus.Self())) + "\n" << std::flush;
    }
    Output output(interruption.Descriptor());
    const Deadline deadline = After(inOptions.mTimeout);
    std::uint64_t answered = 0;
    while (inOptions.mCount == 0 || answered < inOptions.mCount) {
        if (!interruption.Await(questions.Descriptor(), deadline)) break;
        if (const auto question = questions.Take()) {
            if (Serve(*question, inOptions, added, bus, output)) ++answered;
        }
    }
    questions.Close();
    bus.Leave();
    if (answered < inOptions.mCount && !interruption.HasCome()) {
        throw Failure(kExitTimeout, std::to_string(answered) + " of " + std::to_string(inOptions.mCount) +
                                        " questions came in time");
    }
}

}  // namespace

void AddAnswerVerb(CLI::App& ioApp) {
    CLI::App* const verb = ioApp.add_subcommand(
        "answer", "Answer questions of a type with their own dictionary, for trying things out");
    const auto options = std::make_shared<AnswerOptions>();
    AddMessageType(*verb, "type", options->mType, "Message type of the questions");
    verb->add_option("--response", options->mResponse, "Message type of the answers")
        ->required()
        ->check(CheckMessageType)
        ->type_name("TYPE");
    verb->add_option("--reply", options->mReply,
                     "A pair key=text or key:=JSON to add, or one JSON object; may be repeated")
        ->allow_extra_args(false)
        ->type_name("WORD");
    verb->add_option("--root", options->mRoot,
                     "Root tag of the answers to questions in XML (default: message)")
        ->type_name("TAG");
    verb->add_option("--count", options->mCount, "End after this many answers")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 62U))
        ->type_name("N");
    AddSeconds(*verb, "--timeout", options->mTimeout,
               "End after this time; with --count it is an error then");
    verb->add_flag("--json", options->mIsJSON, "Print the questions as one JSON object a line");
    verb->add_flag("--quiet", options->mIsQuiet, "Don't say on stderr that the bus is ready");
    AddConnectionOptions(*verb, options->mConnection);
    verb->callback([options] { Answer(*options); });
    verb->footer(
        "Examples:\n"
        "  plexa answer org.example.ask --response org.example.told --reply by=plexa\n"
        "  plexa answer org.example.ask --response org.example.told --count 1 --timeout 30\n\n"
        "An answer has the format of its question and goes to the one who asked.\n"
        "Exit codes: 0 ended as asked or by Ctrl-C, 2 wrong command line, 3 fewer than --count questions came "
        "in\ntime, 4 no broker.");
}

}  // namespace orvane::plexa::tool
