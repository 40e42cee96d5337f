#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "Failure.h"
#include "Input.h"
#include "Output.h"
#include "PayloadText.h"
#include "Verbs.h"
#include "nuocore/Assertion.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

// The codec's complaints are part of what these verbs show: one JSON object a line.
void ShowAssertions() {
    nuocore::debug::SetAssertionHandler([](const nuocore::debug::AssertionRecord& inRecord) {
        VariantObject record;
        record["function"] = MakeValue(UTF8String(inRecord.mFunction));
        record["expression"] = MakeValue(UTF8String(inRecord.mExpression));
        record["message"] = MakeValue(UTF8String(std::string_view(inRecord.mMessage)));
        std::cerr << JSONLine(VariantValue(record)) << std::endl;
        return false;
    });
}

void AddFormatOption(CLI::App& ioVerb, const char* inName, std::optional<PayloadFormat>& outFormat,
                     const char* inHelp) {
    ioVerb
        .add_option_function<std::string>(
            inName,
            [&outFormat](const std::string& inText) {
                outFormat = inText == "xml" ? PayloadFormat::kXML : PayloadFormat::kJSON;
            },
            inHelp)
        ->check(CLI::IsMember({"xml", "json"}).description(""))
        ->type_name("xml|json");
}

struct DecodeOptions {
    std::optional<PayloadFormat> mFormat;
};

void Decode(const DecodeOptions& inOptions) {
    ShowAssertions();
    const UTF8String payload = ReadInput();
    const std::optional<PayloadFormat> format = inOptions.mFormat ? inOptions.mFormat : FormatOf(payload);
    if (payload.empty()) {
        throw Failure(kExitFailure,
                      "cannot decode the payload: it is empty, and an empty one reaches nobody");
    }
    if (!format) {
        throw Failure(kExitFailure,
                      "cannot decode the payload: it begins neither like XML (\"<\") nor like JSON (\"{\"); "
                      "applications receive such a payload as raw text");
    }
    Output().Line(JSONLine(VariantValue(DecodePayload(payload, *format))));
}

struct EncodeOptions {
    std::string mRoot;
    std::optional<PayloadFormat> mFlavor;
};

void Encode(const EncodeOptions& inOptions) {
    const PayloadFormat flavor = inOptions.mFlavor.value_or(PayloadFormat::kXML);
    if (flavor == PayloadFormat::kXML && inOptions.mRoot.empty()) {
        throw Failure(kExitUsage, "an XML payload needs a root tag: add --root TAG, such as --root message");
    }
    ShowAssertions();
    const VariantObject dictionary = ParseObject(ReadInput(), "the dictionary on the standard input");
    Output().Write(EncodePayload(dictionary, flavor, UTF8String(std::string_view(inOptions.mRoot))));
}

}  // namespace

void AddPayloadVerbs(CLI::App& ioApp) {
    CLI::App* const payload = ioApp.add_subcommand("payload", "Decode and encode payloads, without a broker");
    payload->require_subcommand(1);

    CLI::App* const decode = payload->add_subcommand(
        "decode",
        "Read a payload on the standard input and print its dictionary as one JSON line. What the codec "
        "complains about goes to stderr, one JSON object a line.");
    const auto decodeOptions = std::make_shared<DecodeOptions>();
    AddFormatOption(*decode, "--format", decodeOptions->mFormat,
                    "Take the payload for this format (default: what its first byte says)");
    decode->callback([decodeOptions] { Decode(*decodeOptions); });
    decode->footer(
        "Examples:\n"
        "  echo '<message><a>1</a></message>' | plexa payload decode\n"
        "  plexa payload decode --format json < payload.txt\n\n"
        "Exit codes: 0 decoded, 1 the payload can't be decoded, 2 wrong command line.");

    CLI::App* const encode = payload->add_subcommand(
        "encode",
        "Read a JSON object on the standard input and print its payload, byte for byte, without a line end. "
        "What the codec complains about goes to stderr, one JSON object a line.");
    const auto encodeOptions = std::make_shared<EncodeOptions>();
    encode->add_option("--root", encodeOptions->mRoot, "Root tag of the XML document (JSON has none)")
        ->type_name("TAG");
    AddFormatOption(*encode, "--flavor", encodeOptions->mFlavor, "Format of the payload (default: xml)");
    encode->callback([encodeOptions] { Encode(*encodeOptions); });
    encode->footer(
        "Examples:\n"
        "  echo '{\"command\":\"install\"}' | plexa payload encode --root request\n"
        "  echo '{\"n\":1}' | plexa payload encode --flavor json\n\n"
        "XML has no form for numbers and arrays: they give error markers and a complaint. Keys that are no XML\n"
        "names, and texts that XML can't hold, are refused.\n"
        "Exit codes: 0 written, 1 it can't be written, 2 wrong command line.");
}

}  // namespace orvane::plexa::tool
