/// A handler that writes down what it is told.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nuocore/StringConversion.h"
#include "nuocore/XML.h"

namespace data_test {

/// One line a call, such as "<a x=1>", "[text]", "</a>".
class RecordingHandler final : public nuocore::xml::AbstractParseHandler {
  public:
    explicit RecordingHandler(std::vector<std::string>& outCalls) : mCalls(outCalls) {}

    void StartDocument() override { mCalls.emplace_back("start"); }
    void EndDocument() override { mCalls.emplace_back("end"); }
    void StartElement(const nuocore::UTF16String& inName,
                      const nuocore::xml::AttributeMap& inAttributes) override {
        std::string line = "<" + Text(inName);
        for (const auto& [name, value] : inAttributes) {
            line += " " + Text(name) + "=" + Text(value);
        }
        mCalls.push_back(line + ">");
    }
    void EndElement(const nuocore::UTF16String& inName) override {
        mCalls.push_back("</" + Text(inName) + ">");
    }
    void StartElementWithNamespace(const nuocore::UTF16String& inNamespace,
                                   const nuocore::UTF16String& inLocalName,
                                   const nuocore::UTF16String& inQualifiedName,
                                   const nuocore::xml::AttributeList& inAttributes) override {
        std::string line = "<" + Name(inNamespace, inLocalName, inQualifiedName);
        for (const nuocore::xml::Attribute& attribute : inAttributes) {
            line += " " + Name(attribute.mNamespace, attribute.mLocalName, attribute.mQualifiedName) + "=" +
                    Text(attribute.mValue);
        }
        mCalls.push_back(line + ">");
    }
    void EndElementWithNamespace(const nuocore::UTF16String& inNamespace,
                                 const nuocore::UTF16String& inLocalName,
                                 const nuocore::UTF16String& inQualifiedName) override {
        mCalls.push_back("</" + Name(inNamespace, inLocalName, inQualifiedName) + ">");
    }
    void StartCDATA() override { mCalls.emplace_back("cdata"); }
    void EndCDATA() override { mCalls.emplace_back("/cdata"); }
    void Characters(const nuocore::UTF16String& inText) override {
        mCalls.push_back("[" + Text(inText) + "]");
    }
    void Comment(const nuocore::UTF16String& inText) override { mCalls.push_back("!" + Text(inText)); }
    void StartPrefixMapping(const nuocore::UTF16String& inPrefix,
                            const nuocore::UTF16String& inNamespace) override {
        mCalls.push_back("+" + Text(inPrefix) + "=" + Text(inNamespace));
    }
    void EndPrefixMapping(const nuocore::UTF16String& inPrefix) override {
        mCalls.push_back("-" + Text(inPrefix));
    }

  private:
    static std::string Text(const nuocore::UTF16String& inText) {
        return nuocore::string::UTF8ToStdString(nuocore::string::UTF16to8(inText));
    }
    static std::string Name(const nuocore::UTF16String& inNamespace, const nuocore::UTF16String& inLocalName,
                            const nuocore::UTF16String& inQualifiedName) {
        return "{" + Text(inNamespace) + "}" + Text(inLocalName) + "|" + Text(inQualifiedName);
    }

    std::vector<std::string>& mCalls;
};

/// The calls for a document, joined by blanks, without those for the document itself. Throws what the parser
/// throws.
inline std::string CallsFor(std::string_view inDocument, const nuocore::xml::ParserOptions& inOptions = {}) {
    std::vector<std::string> calls;
    nuocore::xml::GetParser(std::make_unique<RecordingHandler>(calls), inOptions)->Parse(inDocument);
    std::string joined;
    for (const std::string& call : calls) {
        if (call != "start" && call != "end") {
            joined += joined.empty() ? call : " " + call;
        }
    }
    return joined;
}

/// What is wrong with a document, or "no error".
inline std::string XMLErrorOf(std::string_view inDocument,
                              const nuocore::xml::ParserOptions& inOptions = {}) {
    try {
        CallsFor(inDocument, inOptions);
    } catch (const nuocore::xml::XMLError& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace data_test
