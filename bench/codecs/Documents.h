/// Documents to measure with, generated alike on every run.
#pragma once

#include <cstddef>
#include <string>

namespace codecs {

struct Document {
    std::string mLabel;
    std::string mXML;
    std::string mJSON;      ///< the same content: attributes as "@name", mixed text as "#text"
    std::size_t mElements;  ///< elements of the XML text
};

/// A delivery note of nested elements with attributes and text, about `inBytes` bytes of XML. With
/// `inUniqueTags` no element has two children of the same name, so that a dictionary can hold all of it.
Document MakeDocument(const std::string& inLabel, std::size_t inBytes, bool inUniqueTags);

}  // namespace codecs
