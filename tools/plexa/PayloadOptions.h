/// Options that say what a message carries.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "PayloadText.h"
#include "nuocore/Strings.h"
#include "nuocore/Variant.h"

namespace CLI {
class App;
}

namespace orvane::plexa::tool {

struct PayloadOptions {
    bool mIsXML = false;
    bool mIsJSON = false;
    std::string mRoot;
    std::optional<std::string> mFirst;
    std::vector<std::string> mMore;

    /// Pairs, one JSON document, or a raw text.
    [[nodiscard]] std::vector<std::string> Words() const;
};

/// Adds --xml, --json, --root and the words.
void AddPayloadOptions(CLI::App& ioVerb, PayloadOptions& outOptions, const char* inDefaultRoot,
                       const char* inWordsHelp);

/// The dictionary that words stand for: nothing for none, else pairs "key=text" and "key:=JSON", or one JSON
/// object. Throws `Failure` with `kExitUsage` for words that are neither.
nuocore::serialization::VariantObject DictionaryOf(const std::vector<std::string>& inWords);

/// The payload text of a dictionary that is to be sent. Throws `Failure` also when a value has no form in
/// the format: what the codec complains about is not sent.
nuocore::UTF8String SendableText(const nuocore::serialization::VariantObject& inDictionary,
                                 PayloadFormat inFormat, const std::string& inRoot);

}  // namespace orvane::plexa::tool
