#include <algorithm>

#include "bus/Payload.h"
#include "bus/XMLWriter.h"
#include "nuocore/StringConversion.h"

namespace orvane::plexa::zarnd {

namespace {

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
        mWriter.Leaf("error-metadata", nuocore::string::IsValidUTF8(inError.mMetadata)
                                           ? inError.mMetadata
                                           : "a text that can't be shown");
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
    writer.Leaf("product-sapcode", inEvent.mKey.mProduct);
    writer.Leaf("product-vardo-version", inEvent.mVersion);
    writer.Leaf("module-id", inEvent.mKey.mModule);
    writer.Leaf("cancellable", IsCancellable(inEvent.mCourse) ? "true" : "false");
    std::visit(CourseWriter{writer}, inEvent.mCourse);
    writer.Close("message");
    return writer.Take();
}

}  // namespace orvane::plexa::zarnd
