/// The core library's SAX parser for XML.
#pragma once

#include <boost/container/flat_map.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "nuocore/Strings.h"
#include "nuocore/export.h"

namespace nuocore::xml {

/// Why a document was refused; `what()` says what was wrong, with line and column.
class NUOCORE_API XMLError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~XMLError() override;
};

/// Attributes of an element by qualified name, in ascending order of the UTF-16 units.
using AttributeMap =
    boost::container::flat_map<UTF16String, UTF16String, std::less<>,
                               std::vector<std::pair<UTF16String, UTF16String>,
                                           allocator::STLAllocator<std::pair<UTF16String, UTF16String>>>>;

/// An attribute as the namespace-aware callbacks report it.
struct Attribute {
    UTF16String mNamespace;
    UTF16String mLocalName;
    UTF16String mQualifiedName;
    UTF16String mValue;
};
using AttributeList = std::vector<Attribute>;

/// Receives a document's parts in document order, on the thread that parses. Every default body does nothing.
/// Strings are valid for the duration of the call. A handler may throw: the parse ends and the exception
/// reaches the caller of `Parse` unchanged. The order of the operations is part of the binary interface.
class NUOCORE_API AbstractParseHandler {
  public:
    AbstractParseHandler() = default;
    AbstractParseHandler(const AbstractParseHandler&) = delete;
    AbstractParseHandler& operator=(const AbstractParseHandler&) = delete;
    virtual ~AbstractParseHandler();

    virtual void StartDocument();
    /// Plain mode: qualified name; namespace declarations are attributes like any other.
    virtual void StartElement(const UTF16String& inName, const AttributeMap& inAttributes);
    /// Namespace mode, in place of `StartElement`.
    virtual void StartElementWithNamespace(const UTF16String& inNamespace, const UTF16String& inLocalName,
                                           const UTF16String& inQualifiedName,
                                           const AttributeList& inAttributes);
    virtual void EndElement(const UTF16String& inName);
    virtual void EndElementWithNamespace(const UTF16String& inNamespace, const UTF16String& inLocalName,
                                         const UTF16String& inQualifiedName);
    /// A CDATA section begins or ends. Told at once, before the chunk of `Characters` that its text becomes
    /// part of.
    virtual void StartCDATA();
    virtual void EndCDATA();
    /// Text between two tags. Adjacent character data, resolved references and CDATA sections arrive as one
    /// chunk, just before the next tag, wherever an input buffer ends; comments and processing instructions
    /// don't part it either. Only a text longer than `ParserLimits::mMaxChunkUnits` comes in several, cut
    /// where the limit is reached (one unit before, when that would part a surrogate pair). Line ends are
    /// single line feeds.
    virtual void Characters(const UTF16String& inText);
    /// A comment, told at once like a CDATA section.
    virtual void Comment(const UTF16String& inText);
    virtual void EndDocument();
    /// Namespace mode: a declaration comes into force before the start of its element and ends after its end.
    virtual void StartPrefixMapping(const UTF16String& inPrefix, const UTF16String& inNamespace);
    virtual void EndPrefixMapping(const UTF16String& inPrefix);
};

/// Takes elements and text in UTF-8, the form in which they come, and so saves the way to UTF-16 and back.
/// When a handler of plain mode is one of these too, the parser calls these operations in place of
/// `StartElement`, `EndElement` and `Characters`, at the same moments and under the same rules. Texts are
/// well-formed, and valid for the duration of the call.
class NUOCORE_API UTF8ParseReceiver {
  public:
    struct Attribute {
        std::string_view mName;
        std::string_view mValue;
    };

    UTF8ParseReceiver() = default;
    UTF8ParseReceiver(const UTF8ParseReceiver&) = delete;
    UTF8ParseReceiver& operator=(const UTF8ParseReceiver&) = delete;

    /// Attributes in the order of the document; no name stands twice.
    virtual void StartElementUTF8(std::string_view inName, std::span<const Attribute> inAttributes) = 0;
    virtual void EndElementUTF8(std::string_view inName) = 0;
    virtual void CharactersUTF8(std::string_view inText) = 0;

  protected:
    virtual ~UTF8ParseReceiver();
};

/// Limits of what a parser accepts; a breach is an `XMLError`.
struct ParserLimits {
    std::size_t mMaxBytes = std::size_t{64} << 20;      ///< whole document; never more than 2 GiB
    std::size_t mMaxDepth = 256;                        ///< nested elements
    std::size_t mMaxAttributes = 1024;                  ///< of one element
    std::size_t mMaxChunkUnits = std::size_t{1} << 20;  ///< UTF-16 units of one `Characters` call, at least 2
};

/// How a parser works.
struct ParserOptions {
    bool mNamespaces = false;  ///< call the namespace callbacks in place of the plain ones
    ParserLimits mLimits = {};
};

/// Parses documents into a handler. XML 1.0 in UTF-8, UTF-16 (with a byte order mark), ISO-8859-1 or
/// US-ASCII; any other declared encoding is an error. An external document type is never loaded; a reference
/// to an external entity, or to one that the document doesn't declare, is an error. A document type may have
/// 16 KiB. What entities and default attributes expand to may have 1 MiB, and beyond that ten times the bytes
/// of the document; what goes further is an error. Thread rule: one thread at a time. A handler may use its
/// parser for another document inside a callback.
class NUOCORE_API AbstractDocParser {
  public:
    AbstractDocParser() = default;
    AbstractDocParser(const AbstractDocParser&) = delete;
    AbstractDocParser& operator=(const AbstractDocParser&) = delete;
    virtual ~AbstractDocParser();

    /// Parses one whole document, calling the handler synchronously. Throws `XMLError`, or what the handler
    /// threw.
    virtual void Parse(std::string_view inDocument) = 0;
};

/// A parser that owns `inHandler`. Throws `std::invalid_argument` without a handler, or `std::bad_alloc`.
NUOCORE_API boost::shared_ptr<AbstractDocParser> GetParser(std::unique_ptr<AbstractParseHandler> inHandler,
                                                           const ParserOptions& inOptions = {});

}  // namespace nuocore::xml
