/// One expat parser with the buffers that a parse needs, to be used for one document after the other.
#pragma once

#include <exception>
#include <memory>
#include <string_view>
#include <vector>

#include "AttributeMapBuilder.h"
#include "TextJoiner.h"
#include "nuocore/XML.h"

struct XML_ParserStruct;

namespace nuocore::xml {

class SaxSession {
  public:
    /// Throws `std::bad_alloc`.
    explicit SaxSession(bool inNamespaces);

    /// Parses a document into a handler. Throws `XMLError`, or what the handler threw; either way the session
    /// can be used again.
    void Run(std::string_view inDocument, AbstractParseHandler& inHandler, const ParserLimits& inLimits);

  private:
    struct Callbacks;
    struct FreeParser {
        void operator()(XML_ParserStruct* inParser) const noexcept;
    };
    /// The names of an open element; plain mode uses the qualified name only.
    struct OpenElement {
        UTF16String mNamespace;
        UTF16String mLocalName;
        UTF16String mQualifiedName;
    };

    void Prepare(AbstractParseHandler& inHandler, const ParserLimits& inLimits);
    void SetElementHandlers();
    /// Runs what a callback has to do; what it throws ends the parse and is kept, since expat can't pass it
    /// on.
    template <typename Work>
    void Guard(Work&& inWork) noexcept;
    [[noreturn]] void Refuse(const char* inReason) const;
    void CountElement();
    OpenElement& Open();
    void HandOut(std::string_view inText);
    void FlushText();
    std::size_t CountAttributes(const char* const* inAttributes);
    void CountDoctype(std::size_t inBytes);

    void StartUTF8(const char* inName, const char* const* inAttributes);
    void EndUTF8(const char* inName);
    void StartPlain(const char* inName, const char* const* inAttributes);
    void EndPlain();
    void StartQualified(const char* inName, const char* const* inAttributes);
    void EndQualified();

    const bool mNamespaces;
    const unsigned long mHashSalt;
    std::unique_ptr<XML_ParserStruct, FreeParser> mParser;
    AbstractParseHandler* mHandler = nullptr;
    UTF8ParseReceiver* mReceiver = nullptr;  ///< the handler, if it takes UTF-8
    ParserLimits mLimits;
    std::exception_ptr mFailure;
    TextJoiner mText;
    AttributeMapBuilder mAttributes;
    std::vector<UTF8ParseReceiver::Attribute> mUTF8Attributes;
    AttributeList mAttributeList;
    /// The names of the first `mDepth`, which are open; the others are kept for their memory. Nobody needs
    /// the names in UTF-8.
    std::vector<OpenElement> mElements;
    std::size_t mDepth = 0;
    bool mInDoctype = false;
    std::size_t mDoctypeBytes = 0;
    std::size_t mDefaultsBudget = 0;  ///< how many bytes of default attributes may still come
    UTF16String mScratch;
    UTF16String mSecondScratch;
};

}  // namespace nuocore::xml
