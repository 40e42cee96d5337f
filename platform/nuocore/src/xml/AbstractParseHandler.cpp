#include "nuocore/XML.h"

namespace nuocore::xml {

XMLError::~XMLError() = default;

AbstractDocParser::~AbstractDocParser() = default;

AbstractParseHandler::~AbstractParseHandler() = default;

UTF8ParseReceiver::~UTF8ParseReceiver() = default;

void AbstractParseHandler::StartDocument() {}

void AbstractParseHandler::StartElement(const UTF16String& /*inName*/, const AttributeMap& /*inAttributes*/) {
}

void AbstractParseHandler::StartElementWithNamespace(const UTF16String& /*inNamespace*/,
                                                     const UTF16String& /*inLocalName*/,
                                                     const UTF16String& /*inQualifiedName*/,
                                                     const AttributeList& /*inAttributes*/) {}

void AbstractParseHandler::EndElement(const UTF16String& /*inName*/) {}

void AbstractParseHandler::EndElementWithNamespace(const UTF16String& /*inNamespace*/,
                                                   const UTF16String& /*inLocalName*/,
                                                   const UTF16String& /*inQualifiedName*/) {}

void AbstractParseHandler::StartCDATA() {}

void AbstractParseHandler::EndCDATA() {}

void AbstractParseHandler::Characters(const UTF16String& /*inText*/) {}

void AbstractParseHandler::Comment(const UTF16String& /*inText*/) {}

void AbstractParseHandler::EndDocument() {}

void AbstractParseHandler::StartPrefixMapping(const UTF16String& /*inPrefix*/,
                                              const UTF16String& /*inNamespace*/) {}

void AbstractParseHandler::EndPrefixMapping(const UTF16String& /*inPrefix*/) {}

}  // namespace nuocore::xml
