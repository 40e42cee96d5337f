/// XML as this service sends it.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace orvane::plexa::zarnd {

/// Writes elements one after another. Tags and attribute names stand as they are given.
class XMLWriter {
  public:
    using Attributes = std::initializer_list<std::pair<std::string_view, std::string_view>>;

    void Open(std::string_view inTag, Attributes inAttributes = {}) {
        mText.append("<").append(inTag);
        for (const auto& [name, value] : inAttributes) {
            mText.append(" ").append(name).append("=\"");
            Escape(value);
            mText += '"';
        }
        mText += '>';
    }
    void Close(std::string_view inTag) { mText.append("</").append(inTag).append(">"); }
    void Leaf(std::string_view inTag, std::string_view inText) {
        Open(inTag);
        Escape(inText);
        Close(inTag);
    }
    std::string Take() { return std::move(mText); }

  private:
    void Escape(std::string_view inText) {
        for (const char byte : inText) Escaped(byte);
    }
    void Escaped(char inByte) {
        switch (inByte) {
            case '<':
                mText += "&lt;";
                break;
            case '>':
                mText += "&gt;";
                break;
            case '&':
                mText += "&amp;";
                break;
            case '"':
                mText += "&quot;";
                break;
            case '\t':
                mText += "&#9;";
                break;
            case '\n':
                mText += "&#10;";
                break;
            case '\r':
                mText += "&#13;";
                break;
            default:
                // XML has no form for other control characters.
                mText += static_cast<unsigned char>(inByte) < 0x20U ? ' ' : inByte;
        }
    }

    std::string mText = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>";
};

}  // namespace orvane::plexa::zarnd
