#include "Documents.h"

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <utility>
#include <vector>

namespace codecs {

namespace {

struct Node {
    std::string mName;
    std::string mText;
    std::vector<std::pair<std::string, std::string>> mAttributes = {};
    std::vector<Node> mChildren = {};
};

class Generator {
  public:
    explicit Generator(bool inUniqueTags) : mUniqueTags(inUniqueTags) {}

    Node Parcel(std::size_t inNumber) {
        Node parcel{Numbered("parcel", inNumber), ""};
        parcel.mAttributes = {{"number", std::to_string(700000 + inNumber)},
                              {"state", Word()},
                              {"fragile", Pick(2) == 0 ? "yes" : "no"}};
        parcel.mChildren.push_back(
            {"label", Word().append(" ").append(Word()).append(" L").append(std::to_string(Pick(60)))});
        Node weight{"weight", ""};
        weight.mAttributes = {{"unit", "kg"}, {"measured", Pick(2) == 0 ? "scale" : "table"}};
        weight.mChildren.push_back(
            {"amount", std::to_string(Pick(800)) + "." + std::to_string(10 + Pick(90))});
        parcel.mChildren.push_back(std::move(weight));
        Node box{"box", ""};
        box.mAttributes = {{"unit", "cm"}};
        for (const char* const side : {"depth", "width", "height"}) {
            box.mChildren.push_back({side, std::to_string(Pick(4000))});
        }
        parcel.mChildren.push_back(std::move(box));
        Node marks{"marks", ""};
        for (std::size_t i = 0, count = 1 + Pick(3); i < count; ++i) {
            marks.mChildren.push_back({Numbered("mark", i), Word()});
        }
        parcel.mChildren.push_back(std::move(marks));
        std::string remark = Word();
        for (std::size_t i = 0, count = 4 + Pick(8); i < count; ++i) {
            remark += ' ';
            remark += Word();
        }
        parcel.mChildren.push_back({"remark", remark + "."});
        return parcel;
    }

  private:
    std::size_t Pick(std::size_t inBelow) { return mRandom() % inBelow; }

    std::string Word() {
        constexpr std::array kWords = {"anchor", "barrel", "candle",         "drawer", "elbow",  "fender",
                                       "girder", "hammer", "salt & pepper",  "kettle", "ladder", "mirror",
                                       "needle", "oyster", "bracket <left>", "pulley"};
        return kWords[Pick(kWords.size())];
    }

    std::string Numbered(const std::string& inName, std::size_t inNumber) const {
        return mUniqueTags ? inName + std::to_string(inNumber) : inName;
    }

    std::mt19937 mRandom{1907};
    const bool mUniqueTags;
};

void AppendEscaped(const std::string& inText, std::string& ioText) {
    for (const char byte : inText) {
        switch (byte) {
            case '&':
                ioText += "&amp;";
                break;
            case '<':
                ioText += "&lt;";
                break;
            case '>':
                ioText += "&gt;";
                break;
            default:
                ioText += byte;
        }
    }
}

void AppendXML(const Node& inNode, std::string& ioText) {
    ioText += '<';
    ioText += inNode.mName;
    for (const auto& [name, value] : inNode.mAttributes) {
        ioText += ' ';
        ioText += name;
        ioText += "=\"";
        AppendEscaped(value, ioText);
        ioText += '"';
    }
    ioText += '>';
    AppendEscaped(inNode.mText, ioText);
    for (const Node& child : inNode.mChildren) {
        AppendXML(child, ioText);
    }
    ioText += "</";
    ioText += inNode.mName;
    ioText += '>';
}

nlohmann::ordered_json ToJSON(const Node& inNode) {
    if (inNode.mAttributes.empty() && inNode.mChildren.empty()) {
        return inNode.mText;
    }
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (const auto& [name, value] : inNode.mAttributes) {
        object[std::string("@").append(name)] = value;
    }
    if (!inNode.mText.empty()) {
        object["#text"] = inNode.mText;
    }
    std::map<std::string, std::size_t> uses;
    for (const Node& child : inNode.mChildren) {
        ++uses[child.mName];
    }
    for (const Node& child : inNode.mChildren) {
        if (uses[child.mName] > 1) {
            object[child.mName].push_back(ToJSON(child));
        } else {
            object[child.mName] = ToJSON(child);
        }
    }
    return object;
}

std::size_t CountElements(const Node& inNode) {
    std::size_t count = 1;
    for (const Node& child : inNode.mChildren) {
        count += CountElements(child);
    }
    return count;
}

}  // namespace

Document MakeDocument(const std::string& inLabel, std::size_t inBytes, bool inUniqueTags) {
    Generator generator(inUniqueTags);
    Node root{"delivery", ""};
    root.mAttributes = {{"version", "2"}, {"written", "2023-11-30T08:15:00Z"}};
    std::string xml;
    do {
        root.mChildren.push_back(generator.Parcel(root.mChildren.size()));
        xml.clear();
        AppendXML(root, xml);
    } while (xml.size() < inBytes * 15 / 16);
    return {inLabel, xml, nlohmann::ordered_json{{root.mName, ToJSON(root)}}.dump(), CountElements(root)};
}

}  // namespace codecs
