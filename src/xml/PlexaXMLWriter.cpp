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
thread_local int sDepth = 0;

class Level {
  public:
    Level() {
        if (sDepth == kMaxDepth) {
            throw std::length_error("Cannot write XML: more than 512 levels");
        }
        ++sDepth;
    }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    ~Level() { --sDepth; }
};

// Writes the entries of an object but for `inSkipped`.
void WriteEntries(const VariantObject& inObject, VariantObject::const_iterator inSkipped,
                  oUTF8StringStream& ioStream) {
    for (auto entry = inObject.begin(); entry != inObject.end(); ++entry) {
        if (entry != inSkipped) {
            WriteXMLElement(entry->first, ValueOf(entry->second), ioStream);
        }
    }
}

void WriteAttributes(const VariantObject& inAttributes, oUTF8StringStream& ioStream) {
    for (const auto& [name, value] : inAttributes) {
        Write(" ", ioStream);
        WriteXMLEscaped(name.c_str(), ioStream);
        Write("=\"", ioStream);
        GetXMLUTF8String(ValueOf(value), ioStream);
        Write("\"", ioStream);
    }
}

void WriteEndTag(const UTF8String& inTag, oUTF8StringStream& ioStream) {
    Write("</", ioStream);
    WriteXMLEscaped(inTag.c_str(), ioStream);
    Write(">", ioStream);
}

}  // namespace

void WriteXMLEscaped(const char* inText, oUTF8StringStream& ioStream) {
    for (;;) {
        const char* end = inText;
        while (!kEndsRun[static_cast<unsigned char>(*end)]) {
            ++end;
        }
        ioStream.Append(inText, static_cast<std::size_t>(end - inText));
        if (*end == '\0') {
            return;
        }
        Write(EntityOf(static_cast<unsigned char>(*end)), ioStream);
        inText = end + 1;
    }
}

void WriteXMLElement(const UTF8String& inTag, const VariantValue& inValue, oUTF8StringStream& ioStream) {
    const Level level;
    Write("<", ioStream);
    WriteXMLEscaped(inTag.c_str(), ioStream);

    const auto* object = boost::any_cast<VariantObject>(&inValue);
    const auto attributes =
        object != nullptr ? object->find(kXMLToJSONKey_Attributes) : VariantObject::const_iterator();
    if (object == nullptr || attributes == object->end()) {
        Write(">", ioStream);
        GetXMLUTF8String(inValue, ioStream);
        WriteEndTag(inTag, ioStream);
        return;
    }

    WriteAttributes(boost::any_cast<const VariantObject&>(ValueOf(attributes->second)), ioStream);
    if (object->size() == 1) {
        Write("/>", ioStream);
        return;
    }
    Write(">", ioStream);
    WriteEntries(*object, attributes, ioStream);
    WriteEndTag(inTag, ioStream);
}

void GetXMLUTF8String(const VariantValue& inValue, oUTF8StringStream& ioStream) {
    const std::type_info& type = inValue.type();
    if (type == typeid(VariantObject)) {
        const auto& object = boost::any_cast<const VariantObject&>(inValue);
        WriteEntries(object, object.end(), ioStream);
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
