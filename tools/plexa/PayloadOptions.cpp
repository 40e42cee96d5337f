#include "PayloadOptions.h"

#include <CLI/CLI.hpp>

#include "Failure.h"
#include "nuocore/Assertion.h"
#include "nuocore/JSON.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantObject;

namespace {

void AddPair(VariantObject& ioDictionary, const std::string& inWord) {
    const std::size_t sign = inWord.find('=');
    const bool isJSON = sign != std::string::npos && sign > 0 && inWord[sign - 1] == ':';
    const std::string_view key =
        std::string_view(inWord).substr(0, sign == std::string::npos ? 0 : sign - (isJSON ? 1 : 0));
    if (key.empty()) {
        throw Failure(kExitUsage, "cannot take \"" + PlainLine(inWord) +
                                      "\": write key=text, key:=JSON, or one JSON object");
    }
    const std::string_view text = std::string_view(inWord).substr(sign + 1);
    nuocore::serialization::VariantValuePtr value;
    try {
        value = isJSON ? nuocore::serialization::ParseJSON(text) : MakeValue(UTF8String(text));
    } catch (const nuocore::serialization::JSONError& error) {
        throw Failure(kExitUsage, "cannot take the value of \"" + PlainLine(key) + "\": " + error.what());
    }
    if (!ioDictionary.emplace(UTF8String(key), value).second) {
        throw Failure(kExitUsage, "cannot take the key \"" + PlainLine(key) + "\" twice");
    }
}

// Collects the assertions that are raised while it lives, in place of the handler before it.
class FirstAssertion {
  public:
    FirstAssertion()
        : mBefore(
              nuocore::debug::SetAssertionHandler([this](const nuocore::debug::AssertionRecord& inRecord) {
                  if (mText.empty()) mText = inRecord.mMessage;
                  return false;
              })) {}
    FirstAssertion(const FirstAssertion&) = delete;
    FirstAssertion& operator=(const FirstAssertion&) = delete;
    ~FirstAssertion() { nuocore::debug::SetAssertionHandler(mBefore); }

    [[nodiscard]] const std::string& Text() const noexcept { return mText; }

  private:
    std::string mText;
    nuocore::debug::AssertionHandler mBefore;
};

}  // namespace

void AddPayloadOptions(CLI::App& ioVerb, PayloadOptions& outOptions, const char* inDefaultRoot,
                       const char* inWordsHelp) {
    outOptions.mRoot = inDefaultRoot;
    CLI::Option* const xml = ioVerb.add_flag("--xml", outOptions.mIsXML, "Write the dictionary as XML");
    ioVerb.add_flag("--json", outOptions.mIsJSON, "Write the dictionary as JSON")->excludes(xml);
    ioVerb
        .add_option("--root", outOptions.mRoot,
                    std::string("Root tag of the XML document (default: ") + inDefaultRoot + ")")
        ->type_name("TAG");
    // Two positions, because of several values CLI11 takes "[a,b]" for a list; the first may be any text.
    ioVerb
        .add_option_function<std::string>(
            "payload", [&outOptions](const std::string& inWord) { outOptions.mFirst = inWord; }, inWordsHelp)
        ->type_name("WORD");
    ioVerb.add_option("more", outOptions.mMore, "Further pairs")->type_name("WORD");
}

std::vector<std::string> PayloadOptions::Words() const {
    std::vector<std::string> words = mMore;
    if (mFirst) words.insert(words.begin(), *mFirst);
    return words;
}

VariantObject DictionaryOf(const std::vector<std::string>& inWords) {
    if (inWords.size() == 1 && FormatOf(inWords.front()) == PayloadFormat::kJSON) {
        return ParseObject(inWords.front(), "the dictionary");
    }
    VariantObject dictionary;
    for (const std::string& word : inWords) AddPair(dictionary, word);
    return dictionary;
}

UTF8String SendableText(const VariantObject& inDictionary, PayloadFormat inFormat,
                        const std::string& inRoot) {
    const FirstAssertion assertion;
    UTF8String text = EncodePayload(inDictionary, inFormat, UTF8String(std::string_view(inRoot)));
    if (!assertion.Text().empty()) {
        throw Failure(kExitFailure, "cannot write the dictionary as XML: " + assertion.Text() +
                                        "; give such values as texts, or use --json");
    }
    return text;
}

}  // namespace orvane::plexa::tool
