#include <cstring>
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

void Write(std::string_view inText, oUTF8StringStream& ioStream) {
    ioStream.Append(inText.data(), inText.size());
}

void WriteMarker(std::string_view inMarker, std::string inMessage, oUTF8StringStream& ioStream) {
    nuocore::debug::RaiseAssertion(
        {"PlexaXMLSupport", 0, "nuoplexasupport::GetXMLUTF8String", "false", std::move(inMessage)});
    Write(inMarker, ioStream);
}

void WriteUnwritable(const char* inKind, std::string_view inMarker, oUTF8StringStream& ioStream) {
    WriteMarker(
        inMarker,
        std::string(inKind) + " variant type in GetXMLUTF8String with no well defined expected output",
        ioStream);
}

// A pointer that is missing is written like an empty value.
const VariantValue& ValueOf(const boost::shared_ptr<VariantValue>& inValue) {
    static const VariantValue kEmpty;
    return inValue ? *inValue : kEmpty;
}

void WriteContentAndEnd(const UTF8String& inTag, const VariantValue& inValue, oUTF8StringStream& ioStream) {
    Write(">", ioStream);
    GetXMLUTF8String(inValue, ioStream);
    Write("</", ioStream);
    WriteXMLEscaped(inTag.c_str(), ioStream);
    Write(">", ioStream);
}

std::string_view EntityOf(char inByte) {
    switch (inByte) {
        case '"':
            return "&quot;";
        case '&':
            return "&amp;";
        case '\'':
            return "&apos;";
        case '<':
            return "&lt;";
        default:
            return "&gt;";
    }
}

}  // namespace

void WriteXMLEscaped(const char* inText, oUTF8StringStream& ioStream) {
    for (;;) {
        const std::size_t plain = std::strcspn(inText, "\"&'<>");
        ioStream.Append(inText, plain);
        inText += plain;
        if (*inText == '\0') {
            return;
        }
        Write(EntityOf(*inText), ioStream);
        ++inText;
    }
}

void WriteXMLElement(const UTF8String& inTag, const VariantValue& inValue, oUTF8StringStream& ioStream) {
    Write("<", ioStream);
    WriteXMLEscaped(inTag.c_str(), ioStream);

    const auto* object = boost::any_cast<VariantObject>(&inValue);
    if (object == nullptr || object->find(kXMLToJSONKey_Attributes) == object->end()) {
        WriteContentAndEnd(inTag, inValue, ioStream);
        return;
    }

    VariantObject children = *object;
    const auto entry = children.find(kXMLToJSONKey_Attributes);
    const auto& attributes = boost::any_cast<const VariantObject&>(ValueOf(entry->second));
    for (const auto& [name, value] : attributes) {
        Write(" ", ioStream);
        WriteXMLEscaped(name.c_str(), ioStream);
        Write("=\"", ioStream);
        GetXMLUTF8String(ValueOf(value), ioStream);
        Write("\"", ioStream);
    }
    children.erase(entry);
    if (children.empty()) {
        Write("/>", ioStream);
        return;
    }
    WriteContentAndEnd(inTag, VariantValue(std::move(children)), ioStream);
}

void GetXMLUTF8String(const VariantValue& inValue, oUTF8StringStream& ioStream) {
    const std::type_info& type = inValue.type();
    if (type == typeid(VariantObject)) {
        for (const auto& [key, value] : boost::any_cast<const VariantObject&>(inValue)) {
            WriteXMLElement(key, ValueOf(value), ioStream);
        }
    } else if (type == typeid(VariantArray)) {
        WriteUnwritable("array", "<ERROR_ARRAY/>", ioStream);
    } else if (type == typeid(std::int64_t)) {
        WriteUnwritable("int64_t", "<ERROR_INT64_T/>", ioStream);
    } else if (type == typeid(std::uint64_t)) {
        WriteUnwritable("uint64_t", "<ERROR_UINT64_T/>", ioStream);
    } else if (type == typeid(double)) {
        WriteUnwritable("double", "<ERROR_DOUBLE/>", ioStream);
    } else if (type == typeid(UTF8String)) {
        WriteXMLEscaped(boost::any_cast<const UTF8String&>(inValue).c_str(), ioStream);
    } else if (type == typeid(UTF16String)) {
        WriteXMLEscaped(nuocore::string::UTF16to8(boost::any_cast<const UTF16String&>(inValue)).c_str(),
                        ioStream);
    } else if (type == typeid(bool)) {
        Write(boost::any_cast<bool>(inValue) ? "true" : "false", ioStream);
    } else if (type == typeid(ImmutableString)) {
        WriteXMLEscaped(boost::any_cast<const ImmutableString&>(inValue).CStr(), ioStream);
    } else if (type == typeid(Guid)) {
        WriteXMLEscaped(boost::any_cast<const Guid&>(inValue).AsUTF8String().c_str(), ioStream);
    } else if (!inValue.empty()) {
        WriteMarker("<ERROR/>", std::string("unexpected variant type in GetXMLUTF8String: ") + type.name(),
                    ioStream);
    }
}

UTF8String CreateXMLPayload(const VariantValue& inValue, const UTF8String& inRootTag) {
    oUTF8StringStream stream;
    Write("<?xml version=\"1.0\" encoding=\"utf-8\" ?>", stream);
    WriteXMLElement(inRootTag, inValue, stream);
    return std::move(stream).str();
}

}  // namespace nuoplexasupport
