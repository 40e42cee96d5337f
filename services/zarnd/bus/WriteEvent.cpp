#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "bus/Payload.h"
#include "bus/XMLWriter.h"
#include "nuocore/StringConversion.h"

namespace orvane::plexa::zarnd {

namespace {

/// A text as XML can carry it: there is no form for two characters, nor for what is no UTF-8.
std::string Shown(const std::string& inText) {
    constexpr std::string_view kBeforeLast = "\xEF\xBF";  // of U+FFFE and U+FFFF, and U+FFFD
    if (!nuocore::string::IsValidUTF8(inText)) return "a text that can't be shown";
    std::string shown = inText;
    for (std::size_t place = shown.find(kBeforeLast); place != std::string::npos;
         place = shown.find(kBeforeLast, place + 1)) {
        char& last = shown[place + kBeforeLast.size()];
        if (last == '\xBE' || last == '\xBF') last = '\xBD';
    }
    return shown;
}

/// What differs from event to event.
struct CourseWriter {
    XMLWriter& mWriter;

    void operator()(const Progress& inProgress) const {
        mWriter.Open("progress-data");
        mWriter.Leaf("progress-value", std::to_string(inProgress.mPercent));
        mWriter.Close("progress-data");
    }
    void operator()(const Error& inError) const {
        mWriter.Open("error-data");
        mWriter.Leaf("error-code", std::to_string(static_cast<int>(inError.mCode)));
        mWriter.Leaf("error-type", "fatal");
        mWriter.Leaf("error-metadata", Shown(inError.mMetadata));
        mWriter.Close("error-data");
    }
    void operator()(const Completed&) const {}
    void operator()(const CancelledByAsker&) const {}
};

const char* TypeOf(const Course& inCourse) {
    constexpr const char* kTypes[] = {"progress", "completed", "error", "cancelled"};
    static_assert(std::is_same_v<Course, std::variant<Progress, Completed, Error, CancelledByAsker>>);
    return kTypes[inCourse.index()];
}

bool IsCancellable(const Course& inCourse) {
    return std::holds_alternative<Progress>(inCourse) || std::holds_alternative<Error>(inCourse);
}

}  // namespace

std::string WriteEvent(const DeploymentEvent& inEvent) {
    XMLWriter writer;
    writer.Open("message");
    writer.Leaf("command", "module-install");
    writer.Leaf("event-type", TypeOf(inEvent.mCourse));
    writer.Leaf("product-sapcode", Shown(inEvent.mKey.mProduct));
    writer.Leaf("product-vardo-version", Shown(inEvent.mVersion));
    writer.Leaf("module-id", Shown(inEvent.mKey.mModule));
    writer.Leaf("cancellable", IsCancellable(inEvent.mCourse) ? "true" : "false");
    std::visit(CourseWriter{writer}, inEvent.mCourse);
    writer.Close("message");
    return writer.Take();
}

}  // namespace orvane::plexa::zarnd
