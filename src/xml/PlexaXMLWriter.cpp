#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>

#include "nuocore/Assertion.h"
#include "nuocore/StringConversion.h"
#include "nuoplexasupport/Constants.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {

using nuocore::oUTF8StringStream;

namespace {

// A pointer that is missing is written like an empty value.
const VariantValue& ValueOf(const boost::shared_ptr<VariantValue>& inValue) {
    static const VariantValue kEmpty;
    return inValue ? *inValue : kEmpty;
}

// What a byte is written as; an empty text for those that are written unchanged.
constexpr std::string_view EntityOf(unsigned char inByte) {
    switch (inByte) {
        case '"':
            return "&quot;";
        case '&':
            return "&amp;";
        case '\'':
            return "&apos;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        default:
            return {};
    }
}

// Whether a byte ends a run of bytes that are written unchanged: one with an entity, or the terminating NUL.
constexpr std::array<bool, 256> kEndsRun = [] {
    std::array<bool, 256> ends{};
    for (std::size_t byte = 0; byte < ends.size(); ++byte) {
        ends[byte] = byte == 0 || !EntityOf(static_cast<unsigned char>(byte)).empty();
    }
    return ends;
}();

// How deep dictionaries may be nested: as deep as in JSON. One that contains itself must not end in a crash.
constexpr int kMaxDepth = 512;

// Writes straight to the end of a stream.
class Writer {
  public:
    explicit Writer(oUTF8StringStream& ioStream) : mStream(ioStream) {}

    void WriteElement(const UTF8String& inTag, const VariantValue& inValue);
    void WriteContent(const VariantValue& inValue);
    void WriteEscaped(const char* inText);

  private:
    void Write(std::string_view inText) { mStream.Append(inText.data(), inText.size()); }
    void WriteAttributes(const VariantObject& inAttributes);
    void WriteEntries(const VariantObject& inObject, VariantObject::const_iterator inSkipped);
    void WriteOther(const VariantValue& inValue);
    void WriteMarker(std::string_view inMarker, std::string inMessage);
    void WriteUnwritable(const char* inKind, std::string_view inMarker);

    oUTF8StringStream& mStream;
    int mDepth = 0;
};

void Writer::WriteEscaped(const char* inText) {
    for (;;) {
        const char* end = inText;
        while (!kEndsRun[static_cast<unsigned char>(*end)]) {
            ++end;
        }
        Write({inText, static_cast<std::size_t>(end - inText)});
        if (*end == '\0') {
            return;
        }
        Write(EntityOf(static_cast<unsigned char>(*end)));
        inText = end + 1;
    }
}

void Writer::WriteElement(const UTF8String& inTag, const VariantValue& inValue) {
    if (mDepth == kMaxDepth) {
        throw std::length_error("Cannot write XML: more than 512 levels");
    }
    ++mDepth;
    Write("<");
    WriteEscaped(inTag.c_str());
    const auto* object = boost::any_cast<VariantObject>(&inValue);
    const auto attributes =
        object != nullptr ? object->find(kXMLToJSONKey_Attributes) : VariantObject::const_iterator();
    const bool hasAttributes = object != nullptr && attributes != object->end();
    if (hasAttributes) {
        WriteAttributes(boost::any_cast<const VariantObject&>(ValueOf(attributes->second)));
    }
    if (hasAttributes && object->size() == 1) {
        Write("/>");
    } else {
        Write(">");
        if (object != nullptr) {
            WriteEntries(*object, attributes);
        } else {
            WriteContent(inValue);
        }
        Write("</");
        WriteEscaped(inTag.c_str());
        Write(">");
    }
    --mDepth;
}

void Writer::WriteAttributes(const VariantObject& inAttributes) {
    for (const auto& [name, value] : inAttributes) {
        Write(" ");
        WriteEscaped(name.c_str());
        Write("=\"");
        WriteContent(ValueOf(value));
        Write("\"");
    }
}

// Writes the entries of an object but for `inSkipped`.
void Writer::WriteEntries(const VariantObject& inObject, VariantObject::const_iterator inSkipped) {
    for (auto entry = inObject.begin(); entry != inObject.end(); ++entry) {
        if (entry != inSkipped) {
            WriteElement(entry->first, ValueOf(entry->second));
        }
    }
}

// The kinds exclude each other, so the frequent ones are asked for first.
void Writer::WriteContent(const VariantValue& inValue) {
    if (const auto* text = boost::any_cast<UTF8String>(&inValue)) {
        WriteEscaped(text->c_str());
    } else if (const auto* object = boost::any_cast<VariantObject>(&inValue)) {
        WriteEntries(*object, object->end());
    } else {
        WriteOther(inValue);
    }
}

void Writer::WriteOther(const VariantValue& inValue) {
    const std::type_info& type = inValue.type();
    if (type == typeid(VariantArray)) {
        WriteUnwritable("array", "<ERROR_ARRAY/>");
    } else if (type == typeid(std::int64_t)) {
        WriteUnwritable("int64_t", "<ERROR_INT64_T/>");
    } else if (type == typeid(std::uint64_t)) {
        WriteUnwritable("uint64_t", "<ERROR_UINT64_T/>");
    } else if (type == typeid(double)) {
        WriteUnwritable("double", "<ERROR_DOUBLE/>");
    } else if (type == typeid(UTF16String)) {
        WriteEscaped(nuocore::string::UTF16to8(boost::any_cast<const UTF16String&>(inValue)).c_str());
    } else if (type == typeid(bool)) {
        Write(boost::any_cast<bool>(inValue) ? "true" : "false");
    } else if (type == typeid(ImmutableString)) {
        WriteEscaped(boost::any_cast<const ImmutableString&>(inValue).CStr());
    } else if (type == typeid(Guid)) {
        WriteEscaped(boost::any_cast<const Guid&>(inValue).AsUTF8String().c_str());
    } else if (!inValue.empty()) {
        WriteMarker("<ERROR/>", std::string("unexpected variant type in GetXMLUTF8String: ") + type.name());
    }
}

void Writer::WriteUnwritable(const char* inKind, std::string_view inMarker) {
    WriteMarker(inMarker, std::string(inKind) +
                              " variant type in GetXMLUTF8String with no well defined expected output");
}

void Writer::WriteMarker(std::string_view inMarker, std::string inMessage) {
    nuocore::debug::RaiseAssertion(
        {"PlexaXMLSupport", 0, "nuoplexasupport::GetXMLUTF8String", "false", std::move(inMessage)});
    Write(inMarker);
}

}  // namespace

void WriteXMLEscaped(const char* inText, oUTF8StringStream& ioStream) {
    Writer(ioStream).WriteEscaped(inText);
}

void WriteXMLElement(const UTF8String& inTag, const VariantValue& inValue, oUTF8StringStream& ioStream) {
    Writer(ioStream).WriteElement(inTag, inValue);
}

void GetXMLUTF8String(const VariantValue& inValue, oUTF8StringStream& ioStream) {
    Writer(ioStream).WriteContent(inValue);
}

UTF8String CreateXMLPayload(const VariantValue& inValue, const UTF8String& inRootTag) {
    constexpr std::string_view kHeader = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>";
    oUTF8StringStream stream;
    stream.Append(kHeader.data(), kHeader.size());
    WriteXMLElement(inRootTag, inValue, stream);
    return std::move(stream).str();
}

}  // namespace nuoplexasupport
