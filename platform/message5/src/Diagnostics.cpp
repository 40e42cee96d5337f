#include "Diagnostics.h"

#include <array>

#include "nuocore/Trace.h"

namespace orvane::plexa::message5 {

namespace {

constexpr const char* kCategory = "PlexaMessage5";
constexpr std::size_t kLongestText = 256;
constexpr std::size_t kLongestLine = 4096;

nuocore::debug::TraceSwitch& TroubleSwitch() {
    static constinit nuocore::debug::TraceSwitch sSwitch(kCategory, 1);
    return sSwitch;
}

nuocore::debug::TraceSwitch& ConnectionSwitch() {
    static constinit nuocore::debug::TraceSwitch sSwitch(kCategory, 5);
    return sSwitch;
}

std::string Printable(std::string_view inText, std::size_t inLongest = kLongestText) {
    constexpr std::array<char, 16> kDigits = {'0', '1', '2', '3', '4', '5', '6', '7',
                                              '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    std::string text;
    for (const char character : inText.substr(0, inLongest)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F) {
            text += "\\x";
            text += kDigits[byte >> 4U];
            text += kDigits[byte & 15U];
        } else {
            text += character;
        }
    }
    return inText.size() > inLongest ? text + "..." : text;
}

}  // namespace

void TraceTrouble(std::string_view inText) {
    if (TroubleSwitch().IsEnabled()) {
        TroubleSwitch().Trace(Printable(inText, kLongestLine) + "\r\n");
    }
}

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

std::optional<std::string> FailureTrace::Line(const SendFailure& inFailure, wire::TimePoint inNow) {
    std::uint64_t heldBack = 0;
    if (!TroubleSwitch().IsEnabled() || !mLimit.Allow(inNow, heldBack)) {
        return std::nullopt;
    }
    return FailureLine(inFailure, heldBack);
}

std::optional<std::string> FailureTrace::LastLine() {
    const std::uint64_t heldBack = mLimit.TakeHeldBack();
    return heldBack == 0 ? std::nullopt
                         : std::optional(std::to_string(heldBack) + " more messages failed before this");
}

void ConnectionTrace::Lost(std::string inReason, bool inJoined, wire::TimePoint inNow) {
    std::uint64_t heldBack = 0;
    if ((inJoined || inReason != mTold) && mLimit.Allow(inNow, heldBack)) {
        TraceConnection("connection lost: " + inReason +
                        (heldBack == 0 ? std::string() : " (" + std::to_string(heldBack) + " more before)"));
    }
    mTold = inJoined ? std::string() : std::move(inReason);
}

}  // namespace orvane::plexa::message5
