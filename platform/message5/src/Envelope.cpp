#include "Envelope.h"

#include <boost/locale/utf.hpp>

namespace orvane::plexa::message5 {

namespace {

namespace utf = boost::locale::utf;

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

bool Carried(utf::code_point inPoint) {
    if (inPoint < 0x20) {
        return inPoint == '\t' || inPoint == '\n' || inPoint == '\r';
    }
    return inPoint != 0xFFFE && inPoint != 0xFFFF;
}

void AppendEscaped(std::string_view inText, std::string& ioText) {
    const char* at = inText.data();
    const char* const end = at + inText.size();
    while (at != end) {
        const char* const begin = at;
        const utf::code_point point = utf::utf_traits<char>::decode(at, end);
        if (point == utf::illegal || point == utf::incomplete || !Carried(point)) {
            ioText += kReplacement;
            continue;
        }
        switch (point) {
            case '&':
                ioText += "&amp;";
                break;
            case '<':
                ioText += "&lt;";
                break;
            case '>':
                ioText += "&gt;";
                break;
            case '"':
                ioText += "&quot;";
                break;
            case '\'':
                ioText += "&apos;";
                break;
            case ' ':
                // Readers drop white space at a text's start.
                ioText += begin == inText.data() ? "&#32;" : " ";
                break;
            case '\t':
            case '\n':
            case '\r':
                // Readers may turn these into others.
                ioText += "&#" + std::to_string(point) + ";";
                break;
            default:
                ioText.append(begin, at);
        }
    }
}

}  // namespace

std::string AppIdOf(const api5::EndPoint& inEndPoint) {
    std::string text(inEndPoint.GetAppIdSize(), '\0');
    inEndPoint.GetAppId(text.data());
    text.pop_back();
    return text;
}

std::string EnvelopeText(std::string_view inType, const api5::EndPoint& inSource) {
    std::string text = "<message><type>";
    AppendEscaped(inType, text);
    text += "</type>";
    if (inSource != api5::EndPoint::INVALID_ENDPOINT) {
        text += "<source>";
        AppendEscaped(AppIdOf(inSource), text);
        text += "</source>";
    }
    text += "</message>";
    return text;
}

std::shared_ptr<const std::string> EnvelopeCache::Get(std::string_view inType,
                                                      const api5::EndPoint& inSource) {
    const std::size_t size = inSource.GetAppIdSize();
    mKey.resize(size);
    inSource.GetAppId(mKey.data());
    mKey += inType;
    const auto found = mEnvelopes.find(mKey);
    if (found != mEnvelopes.end()) {
        return found->second;
    }
    auto envelope = std::make_shared<const std::string>(EnvelopeText(inType, inSource));
    if (mKey.size() <= kLongestKept) {
        if (mEnvelopes.size() == kMost) {
            mEnvelopes.clear();
        }
        mEnvelopes.emplace(mKey, envelope);
    }
    return envelope;
}

}  // namespace orvane::plexa::message5
