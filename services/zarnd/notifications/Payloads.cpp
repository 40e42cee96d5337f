#include "notifications/Payloads.h"

#include <memory>

#include "bus/XMLWriter.h"
#include "common/Names.h"
#include "nuocore/StringConversion.h"
#include "nuocore/XML.h"

namespace orvane::plexa::zarnd {

using nuocore::UTF16String;

namespace {

constexpr const char* kRegistrationTag = "NEMessage";
constexpr std::string_view kValuesPath = "values/";

/// Takes what the flat texts leave out: the root's name, and its attribute "action".
class RootReader final : public nuocore::xml::AbstractParseHandler {
  public:
    RootReader(std::string& outName, std::string& outAction) : mName(outName), mAction(outAction) {}

    void StartElement(const UTF16String& inName, const nuocore::xml::AttributeMap& inAttributes) override {
        if (!mName.empty()) return;
        mName = nuocore::string::UTF16to8(inName);
        const auto action = inAttributes.find(nuocore::string::UTF8to16("action"));
        if (action != inAttributes.end()) mAction = nuocore::string::UTF16to8(action->second);
    }

  private:
    std::string& mName;
    std::string& mAction;
};

/// A text that names a kind of notifications, or an observer.
std::string KindText(const PayloadTexts& inTexts, const char* inPath) {
    const auto found = inTexts.find(inPath);
    if (found == inTexts.end()) throw PayloadError(std::string("it has no ") + inPath);
    if (found->second.size() > kMaxKindBytes) throw PayloadError(std::string("too long is its ") + inPath);
    if (HasControl(found->second)) {
        throw PayloadError(std::string("a control character is in its ") + inPath);
    }
    return found->second;
}

std::string FilledKindText(const PayloadTexts& inTexts, const char* inPath) {
    std::string text = KindText(inTexts, inPath);
    if (text.empty()) throw PayloadError(std::string("empty is its ") + inPath);
    return text;
}

void Put(std::map<std::string, SignalValue>& ioValues, std::string_view inPath, const std::string& inText) {
    const std::size_t slash = inPath.find('/');
    SignalValue& value = ioValues[std::string(inPath.substr(0, slash))];
    if (slash == std::string_view::npos) {
        value.mText = inText;
    } else {
        Put(value.mParts, inPath.substr(slash + 1), inText);
    }
}

void WriteValues(const std::map<std::string, SignalValue>& inValues, XMLWriter& ioWriter) {
    for (const auto& [name, value] : inValues) {
        if (value.mParts.empty()) {
            ioWriter.Leaf(name, value.mText);
        } else if (value.mText.empty()) {
            ioWriter.Open(name);
            WriteValues(value.mParts, ioWriter);
            ioWriter.Close(name);
        } else {
            throw PayloadError("the value " + name + " is both a text and a dictionary");
        }
    }
}

}  // namespace

Registration ReadRegistration(std::string_view inText) {
    const PayloadTexts texts = ReadPayload(inText);
    std::string root;
    std::string action;
    if (inText.find('<') < inText.find('{')) {
        nuocore::xml::GetParser(std::make_unique<RootReader>(root, action))->Parse(inText);
    }
    if (root != kRegistrationTag) throw PayloadError("it is no NEMessage");
    if (action != "RegisterObserver" && action != "UnregisterObserver") {
        throw PayloadError("its action is neither RegisterObserver nor UnregisterObserver");
    }
    return {action == "RegisterObserver",
            {FilledKindText(texts, "type"), KindText(texts, "sub-type"),
             FilledKindText(texts, "observer-namespace")}};
}

Signal ReadSignal(const PayloadTexts& inTexts) {
    Signal signal{FilledKindText(inTexts, "type"), KindText(inTexts, "sub-type"), {}};
    for (auto entry = inTexts.lower_bound(std::string(kValuesPath));
         entry != inTexts.end() && entry->first.starts_with(kValuesPath); ++entry) {
        Put(signal.mValues, std::string_view(entry->first).substr(kValuesPath.size()), entry->second);
    }
    return signal;
}

std::string WriteSignal(const Signal& inSignal) {
    XMLWriter writer;
    // The root has an attribute because readers would otherwise lose those of its first child.
    writer.Open("message", {{"from", "zarnd"}});
    writer.Open("notification-signal", {{"type", inSignal.mType}, {"sub-type", inSignal.mSubType}});
    writer.Close("notification-signal");
    if (!inSignal.mValues.empty()) {
        writer.Open("values");
        WriteValues(inSignal.mValues, writer);
        writer.Close("values");
    }
    writer.Close("message");
    std::string text = writer.Take();
    try {
        // Names may be any texts so far, and some characters have no place in XML.
        nuocore::xml::GetParser(std::make_unique<nuocore::xml::AbstractParseHandler>())->Parse(text);
    } catch (const nuocore::xml::XMLError& error) {
        throw PayloadError(std::string("it has no form in XML: ") + error.what());
    }
    return text;
}

}  // namespace orvane::plexa::zarnd
