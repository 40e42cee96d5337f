#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>

#include "nuocore/JSON.h"
#include "nuocore/StringConversion.h"

namespace nuocore::serialization {

namespace {

constexpr std::size_t kMaxDepth = 512;

/// Whether a byte stands for itself between quotation marks.
constexpr bool IsPlain(char inByte) noexcept {
    return static_cast<unsigned char>(inByte) >= 0x20 && inByte != '"' && inByte != '\\';
}

/// Appends one value after the other to a text.
class Writer {
  public:
    Writer(UTF8String& ioText, bool inPretty) : mText(ioText), mPretty(inPretty) {}

    void Write(const VariantValue& inValue, std::size_t inDepth);

  private:
    template <typename Members, typename WriteMember>
    void WriteMembers(std::string_view inBrackets, const Members& inMembers, std::size_t inDepth,
                      WriteMember inWriteMember);
    void WriteObject(const VariantObject& inObject, std::size_t inDepth);
    void WriteArray(const VariantArray& inArray, std::size_t inDepth);
    void WriteElement(const VariantValuePtr& inValue, std::size_t inDepth);
    void WriteString(std::string_view inText);
    void WriteEscape(char inByte);
    void WriteDouble(double inValue);
    template <typename Integer>
    void WriteInteger(Integer inValue);
    void StartLine(std::size_t inDepth);

    UTF8String& mText;
    const bool mPretty;
};

void Writer::Write(const VariantValue& inValue, std::size_t inDepth) {
    if (const auto* const text = boost::any_cast<UTF8String>(&inValue)) {
        WriteString(*text);
    } else if (const auto* const object = boost::any_cast<VariantObject>(&inValue)) {
        WriteObject(*object, inDepth);
    } else if (const auto* const array = boost::any_cast<VariantArray>(&inValue)) {
        WriteArray(*array, inDepth);
    } else if (const auto* const number = boost::any_cast<std::int64_t>(&inValue)) {
        WriteInteger(*number);
    } else if (const auto* const natural = boost::any_cast<std::uint64_t>(&inValue)) {
        WriteInteger(*natural);
    } else if (const auto* const real = boost::any_cast<double>(&inValue)) {
        WriteDouble(*real);
    } else if (const auto* const truth = boost::any_cast<bool>(&inValue)) {
        mText += *truth ? "true" : "false";
    } else if (const auto* const wide = boost::any_cast<UTF16String>(&inValue)) {
        WriteString(string::UTF16to8(*wide));
    } else if (const auto* const interned = boost::any_cast<ImmutableString>(&inValue)) {
        WriteString(interned->View());
    } else if (const auto* const id = boost::any_cast<utility::Guid>(&inValue)) {
        WriteString(id->AsUTF8String());
    } else if (inValue.empty()) {
        mText += "null";
    } else {
        throw JSONError(std::string("Cannot write JSON: no JSON form for the type ") + inValue.type().name());
    }
}

void Writer::WriteElement(const VariantValuePtr& inValue, std::size_t inDepth) {
    Write(inValue != nullptr ? *inValue : VariantValue(), inDepth);
}

template <typename Members, typename WriteMember>
void Writer::WriteMembers(std::string_view inBrackets, const Members& inMembers, std::size_t inDepth,
                          WriteMember inWriteMember) {
    if (inDepth >= kMaxDepth) {
        throw JSONError("Cannot write JSON: more than " + std::to_string(kMaxDepth) + " levels");
    }
    mText += inBrackets.front();
    bool first = true;
    for (const auto& member : inMembers) {
        if (!first) {
            mText += ',';
        }
        first = false;
        StartLine(inDepth + 1);
        inWriteMember(member);
    }
    if (!first) {
        StartLine(inDepth);
    }
    mText += inBrackets.back();
}

void Writer::WriteObject(const VariantObject& inObject, std::size_t inDepth) {
    WriteMembers("{}", inObject, inDepth, [this, inDepth](const VariantObject::value_type& inMember) {
        WriteString(inMember.first);
        mText += mPretty ? ": " : ":";
        WriteElement(inMember.second, inDepth + 1);
    });
}

void Writer::WriteArray(const VariantArray& inArray, std::size_t inDepth) {
    WriteMembers("[]", inArray, inDepth,
                 [this, inDepth](const VariantValuePtr& inElement) { WriteElement(inElement, inDepth + 1); });
}

void Writer::WriteString(std::string_view inText) {
    if (!string::IsValidUTF8(inText)) {
        WriteString(string::UTF16to8(string::UTF8to16(inText)));
        return;
    }
    mText += '"';
    const char* run = inText.data();
    const char* const end = run + inText.size();
    for (const char* place = run; place != end; ++place) {
        if (!IsPlain(*place)) {
            mText.append(run, place);
            WriteEscape(*place);
            run = place + 1;
        }
    }
    mText.append(run, end);
    mText += '"';
}

void Writer::WriteEscape(char inByte) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    mText += '\\';
    switch (inByte) {
        case '"':
        case '\\':
            mText += inByte;
            break;
        case '\b':
            mText += 'b';
            break;
        case '\f':
            mText += 'f';
            break;
        case '\n':
            mText += 'n';
            break;
        case '\r':
            mText += 'r';
            break;
        case '\t':
            mText += 't';
            break;
        default:
            mText += "u00";
            mText += kDigits[static_cast<unsigned char>(inByte) >> 4U];
            mText += kDigits[static_cast<unsigned char>(inByte) & 0xFU];
    }
}

template <typename Integer>
void Writer::WriteInteger(Integer inValue) {
    std::array<char, 24> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), inValue);
    mText.append(digits.data(), result.ptr);
}

void Writer::WriteDouble(double inValue) {
    if (!std::isfinite(inValue)) {
        mText += "null";
        return;
    }
    std::array<char, 32> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), inValue);
    const std::string_view text(digits.data(), static_cast<std::size_t>(result.ptr - digits.data()));
    mText += text;
    if (text.find_first_of(".e") == std::string_view::npos) {
        mText += ".0";  // so that it is read as a double again
    }
}

void Writer::StartLine(std::size_t inDepth) {
    if (mPretty) {
        mText += '\n';
        mText.append(2 * inDepth, ' ');
    }
}

}  // namespace

UTF8String GetJSONUTF8String(const VariantValue& inValue, bool inPretty) {
    UTF8String text;
    Writer(text, inPretty).Write(inValue, 0);
    return text;
}

UTF16String GetJSONString(const VariantValue& inValue, bool inPretty) {
    return string::UTF8to16(GetJSONUTF8String(inValue, inPretty));
}

}  // namespace nuocore::serialization
