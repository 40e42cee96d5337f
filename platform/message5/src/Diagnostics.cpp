#include "Diagnostics.h"

#include <array>

#include "nuocore/Trace.h"

namespace orvane::plexa::message5 {

namespace {

constexpr const char* kCategory = "PlexaMessage5";
constexpr std::size_t kLongestText = 256;

nuocore::debug::TraceSwitch& FailureSwitch() {
    static constinit nuocore::debug::TraceSwitch sSwitch(kCategory, 1);
    return sSwitch;
}

nuocore::debug::TraceSwitch& ConnectionSwitch() {
    static constinit nuocore::debug::TraceSwitch sSwitch(kCategory, 5);
    return sSwitch;
}

std::string Printable(std::string_view inText) {
    constexpr std::array<char, 16> kDigits = {'0', '1', '2', '3', '4', '5', '6', '7',
                                              '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    std::string text;
    for (const char character : inText.substr(0, kLongestText)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F) {
            text += "\\x";
            text += kDigits[byte >> 4U];
            text += kDigits[byte & 15U];
        } else {
            text += character;
        }
    }
    return inText.size() > kLongestText ? text + "..." : text;
}

}  // namespace

void TraceConnection(std::string_view inText) {
    if (ConnectionSwitch().IsEnabled()) {
        ConnectionSwitch().Trace(Printable(inText) + "\r\n");
    }
}

bool LineLimit::Allow(wire::TimePoint inNow, std::uint64_t& outHeldBack) {
    if (!mSecond || inNow - *mSecond >= std::chrono::seconds(1)) {
        mSecond = inNow;
        mLines = 0;
    }
    if (mLines == kLinesPerSecond) {
        ++mHeldBack;
        return false;
    }
    ++mLines;
    outHeldBack = mHeldBack;
    mHeldBack = 0;
    return true;
}

std::string FailureLine(const SendFailure& inFailure, std::uint64_t inHeldBack) {
    std::string line(ErrorText(inFailure.kind));
    line += ": \"" + Printable(inFailure.type) + "\" to " + Printable(FaultText(inFailure));
    if (inHeldBack != 0) {
        line += " (" + std::to_string(inHeldBack) + " more before this one)";
    }
    return line;
}

void FailureTrace::Trace(const SendFailure& inFailure, wire::TimePoint inNow) {
    std::uint64_t heldBack = 0;
    if (FailureSwitch().IsEnabled() && mLimit.Allow(inNow, heldBack)) {
        FailureSwitch().Trace(FailureLine(inFailure, heldBack) + "\r\n");
    }
}

}  // namespace orvane::plexa::message5
