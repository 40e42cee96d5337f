// Install events: what they complete, whom they call, and which of them are ignored.
#include <functional>
#include <thread>

#include "modules/ModulesFixture.h"

namespace nuoplexasupport {
namespace {

using nuocore::serialization::MakeValue;
using testing::ElementsAre;
using testing::IsEmpty;

const float k55 = 55.F * 0.01F;

using Events = Modules;

TEST_F(Events, OfProgressCallAllCallbacksOfTheModuleInTheOrderOfTheRequests) {
    const auto first = Request("KQ7L", "first");
    const auto other = Request("other", "other");
    const auto second = Request("KQ7L", "second");
    const auto third = Request("KQ7L", "third");
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"first", "KQ7L", k55}, Progress{"second", "KQ7L", k55},
                                            Progress{"third", "KQ7L", k55}));
    EXPECT_FALSE(first.IsReady());
    ProgressEvent("20", "other");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"other", "other", 20.F * 0.01F}));
}

TEST_F(Events, OfProgressWithoutAValueCallWithNothingDone) {
    const auto future = Request();
    Event("progress");
    Event("progress", "KQ7L", "<progress-data><else>1</else></progress-data>");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"a", "KQ7L", 0.F}, Progress{"a", "KQ7L", 0.F}));
}

TEST_F(Events, OfProgressAreNotClamped) {
    const auto future = Request();
    ProgressEvent("150");
    ProgressEvent("-5");
    EXPECT_THAT(TakeProgress(),
                ElementsAre(Progress{"a", "KQ7L", 150.F * 0.01F}, Progress{"a", "KQ7L", -5.F * 0.01F}));
}

TEST_F(Events, OfCompletionCompleteAllOfTheModuleInTheOrderOfTheRequests) {
    const auto first = Request("KQ7L", "first");
    const auto other = Request("other", "other");
    const auto second = Request("KQ7L", "second");
    std::vector<std::string> order;
    (void)second.Then([&order](const Future<void>&) { order.emplace_back("second"); });
    (void)first.Then([&order](const Future<void>&) { order.emplace_back("first"); });
    Event("completed");
    EXPECT_THAT(order, ElementsAre("first", "second"));
    EXPECT_TRUE(Succeeded(first));
    EXPECT_TRUE(Succeeded(second));
    EXPECT_FALSE(other.IsReady());
}

TEST_F(Events, OfErrorFailAllOfTheModuleWithOneException) {
    const auto first = Request("KQ7L", "first");
    const auto other = Request("other", "other");
    const auto second = Request("KQ7L", "second");
    std::vector<std::string> order;
    (void)second.Then([&order](const Future<void>&) { order.emplace_back("second"); });
    (void)first.Then([&order](const Future<void>&) { order.emplace_back("first"); });
    ErrorEvent("131");
    EXPECT_THAT(order, ElementsAre("first", "second"));
    EXPECT_EQ(FailureOf(first), kModuleOperationsBlockedByConflictingProcess);
    EXPECT_EQ(first.GetException(), second.GetException());
    EXPECT_FALSE(other.IsReady());
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), IsEmpty());
}

TEST_F(Events, OfErrorCarryTheCodeOfTheirNumber) {
    for (const auto& [number, code] : {std::pair<const char*, int>{"118", kModuleInstallError118},
                                       {"999", nuocore::eUnknown},
                                       {"413", kModuleInstallError413},
                                       {"414", kModuleInstallError414},
                                       {"", nuocore::eUnknown}}) {
        const auto future = Request();
        ErrorEvent(number);
        EXPECT_EQ(FailureOf(future), code) << number;
    }
    const auto future = Request();
    Event("error");
    EXPECT_EQ(FailureOf(future), nuocore::eUnknown) << "no error-data";
}

TEST_F(Events, OfCancellingFailWithACodeOfTheirOwn) {
    const auto future = Request();
    Event("cancelled", "KQ7L", "<error-data><error-code>131</error-code></error-data>");
    EXPECT_EQ(FailureOf(future), kModuleDownloadCancelled);
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), IsEmpty());
}

TEST_F(Events, AfterTheEndOfADownloadFindNothing) {
    const auto keeper = Request("keeper");
    const auto future = Request();
    Event("completed");
    ProgressEvent("55");
    ErrorEvent("131");
    Event("completed");
    EXPECT_THAT(TakeProgress(), IsEmpty());
    EXPECT_TRUE(Succeeded(future));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

TEST_F(Events, OfUnknownTypesAreIgnoredSilently) {
    const auto future = Request();
    for (const char* const type : {"Completed", "COMPLETED", "completed ", "", "Error", "Cancelled",
                                   "Progress", "failed", "complete"}) {
        Event(type, "KQ7L", "<progress-data><progress-value>55</progress-value></progress-data>");
    }
    ArriveEvent("<module-id>KQ7L</module-id>");
    EXPECT_FALSE(future.IsReady());
    EXPECT_THAT(TakeProgress(), IsEmpty());
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
    EXPECT_THAT(mLog.Records(), IsEmpty());
    Event("completed");
    EXPECT_TRUE(Succeeded(future));
}

TEST_F(Events, WithoutAModuleRaiseAnAssertionAndAreIgnored) {
    const auto empty = Request("", "empty");
    ArriveEvent("<event-type>completed</event-type>");
    Event("completed", "");
    ProgressEvent("55", "");
    const std::string record =
        "ModuleSupport|111|nuoplexasupport::`anonymous-namespace'::ModuleDownloadClient::"
        "HandleInstallMessage|!moduleID.empty()|";
    EXPECT_THAT(mAssertions.Records(), ElementsAre(record, record, record));
    EXPECT_FALSE(empty.IsReady());
    EXPECT_THAT(TakeProgress(), IsEmpty());
}

TEST_F(Events, OfOtherModulesAndMessagesOfOtherTypesAreNotTheirs) {
    const auto future = Request();
    Event("completed", "other");
    VariantObject completed;
    completed["module-id"] = MakeValue(UTF8String("KQ7L"));
    completed["event-type"] = MakeValue(UTF8String("completed"));
    EventClients().at(0)->ReceiveSubscribedMessage(ImmutableString("another type"), completed);
    EXPECT_FALSE(future.IsReady());
    EventClients().at(0)->ReceiveSubscribedMessage(sProductModuleDeploymentEventMessageType, completed);
    EXPECT_TRUE(Succeeded(future));
}

TEST_F(Events, MayHoldTextsOfEveryKind) {
    const auto first = Request();
    const auto second = Request("other");
    VariantObject completed;
    completed["module-id"] = MakeValue(UTF16String(u"KQ7L"));
    completed["event-type"] = MakeValue(ImmutableString("completed"));
    EventClients().at(0)->ReceiveSubscribedMessage(sProductModuleDeploymentEventMessageType, completed);
    EXPECT_TRUE(Succeeded(first));
    completed["module-id"] = MakeValue(ImmutableString("other"));
    completed["event-type"] = MakeValue(UTF16String(u"completed"));
    EventClients().at(0)->ReceiveSubscribedMessage(sProductModuleDeploymentEventMessageType, completed);
    EXPECT_TRUE(Succeeded(second));
}

// Whatever is not as it should be is found out before anything is taken.
TEST_F(Events, OfWrongKindsLeaveTheDownloadPending) {
    const auto future = Request();
    const std::string id = "<module-id>KQ7L</module-id>";
    const std::vector<std::string> wrong = {
        "<event-type>completed</event-type><module-id><a>KQ7L</a></module-id>",
        id + "<event-type><a>completed</a></event-type>",
        id + "<event-type>error</event-type><error-data>131</error-data>",
        id + "<event-type>error</event-type><error-data><error-code><a>1</a></error-code></error-data>",
        id + "<event-type>progress</event-type><progress-data>55</progress-data>",
        id + "<event-type>progress</event-type><progress-data><progress-value><a>1</a></progress-value>"
             "</progress-data>"};
    for (const std::string& elements : wrong) {
        ArriveEvent(elements);
        EXPECT_FALSE(future.IsReady()) << elements;
    }
    EXPECT_THAT(TakeProgress(), IsEmpty());
    EXPECT_EQ(mLog.Records().size(), wrong.size()) << "one record for each that threw";
    ProgressEvent("55");
    EXPECT_EQ(TakeProgress().size(), 1U);
    Event("completed");
    EXPECT_TRUE(Succeeded(future));
}

TEST_F(Events, AreHandledUnderTheTablesLockOnly) {
    const auto future = Request();
    const auto client = EventClients().at(0);
    VariantObject event;
    event["module-id"] = MakeValue(UTF8String("KQ7L"));
    const doubles::LockWatch locks;
    for (const char* const type : {"progress", "completed"}) {
        event["event-type"] = MakeValue(UTF8String(type));
        client->ReceiveSubscribedMessage(sProductModuleDeploymentEventMessageType, event);
    }
    const char* const lock =
        "nuoplexasupport::`anonymous-namespace'::ModuleDownloadClient::HandleInstallMessage|60000";
    EXPECT_THAT(locks.Acquisitions(), ElementsAre(lock, lock));
}

TEST_F(Events, CallAndCompleteOnTheirThreadWithNoLockHeld) {
    Future<void> inCallback;
    Future<void> inContinuation;
    std::thread::id calledOn;
    const auto ask = [this](Future<void>& outFuture, const char* inModuleId) {
        std::thread([this, &outFuture, inModuleId] { outFuture = Request(inModuleId, "b"); }).join();
    };
    const auto future = RequestModuleDownload(
        ImmutableString("KQ7L"),
        [&](const ImmutableString&, float) {
            calledOn = std::this_thread::get_id();
            ask(inCallback, "x");
        },
        true);
    std::thread::id completedOn;
    (void)future.Then([&](const Future<void>&) {
        completedOn = std::this_thread::get_id();
        ask(inContinuation, "y");
    });
    ProgressEvent("55");
    EXPECT_EQ(calledOn, std::this_thread::get_id());
    Event("completed");
    EXPECT_EQ(completedOn, std::this_thread::get_id());
    Event("completed", "x");
    Event("completed", "y");
    EXPECT_TRUE(Succeeded(inCallback));
    EXPECT_TRUE(Succeeded(inContinuation));
}

TEST_F(Events, DoNotReachRequestsThatTheirCallbacksMake) {
    Future<void> again;
    const auto future = RequestModuleDownload(
        ImmutableString("KQ7L"),
        [&](const ImmutableString&, float) {
            if (!again.IsValid()) {
                again = Request("KQ7L", "again");
            }
        },
        true);
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), IsEmpty());
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"again", "KQ7L", k55}));
    (void)future.Then([&](const Future<void>&) { again = Request("KQ7L", "third"); });
    const auto second = again;
    Event("completed");
    EXPECT_TRUE(Succeeded(second));
    EXPECT_FALSE(again.IsReady()) << "asked for inside the completion";
}

TEST_F(Events, CallCopiesOfTheCallbacks) {
    const auto future = RequestModuleDownload(
        ImmutableString("KQ7L"),
        [this, calls = 0](const ImmutableString&, float inValue) mutable {
            mProgress.push_back({std::to_string(++calls), "", inValue});
        },
        true);
    ProgressEvent("55");
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"1", "", k55}, Progress{"1", "", k55}));
}

TEST_F(Events, StopAtAnEmptyCallbackAndLeaveTheDownloadsPending) {
    const auto before = Request("KQ7L", "before");
    const auto empty = RequestModuleDownload(ImmutableString("KQ7L"), {}, true);
    const auto behind = Request("KQ7L", "behind");
    VariantObject event;
    event["module-id"] = MakeValue(UTF8String("KQ7L"));
    event["event-type"] = MakeValue(UTF8String("progress"));
    EXPECT_THROW(
        EventClients().at(0)->ReceiveSubscribedMessage(sProductModuleDeploymentEventMessageType, event),
        std::bad_function_call);
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"before", "KQ7L", 0.F}));
    ProgressEvent("55");
    EXPECT_THAT(TakeProgress(), ElementsAre(Progress{"before", "KQ7L", k55}));
    EXPECT_EQ(mLog.Records().size(), 1U) << "what came out of a delivery";
    Event("completed");
    EXPECT_TRUE(Succeeded(empty));
    EXPECT_TRUE(Succeeded(behind));
}

TEST_F(Events, ThatAnswerARequestAreHandledOnceAndTheAnswerIsIgnored) {
    const auto future = Request();
    const auto id = sResponseMap.at(sProductModuleDeploymentEventMessageType).begin()->first;
    Event("progress", "KQ7L",
          "<progress-data><progress-value>55</progress-value></progress-data><requestId>" +
              std::string(id.AsUTF8String()) + "</requestId>");
    EXPECT_EQ(TakeProgress().size(), 1U);
    EXPECT_TRUE(sResponseMap.empty());
    Event("completed");
    EXPECT_TRUE(Succeeded(future));
}

TEST_F(Events, OfErrorAreTracedWhenThatIsWanted) {
    const auto fail = [this] {
        const auto future = Request();
        ErrorEvent("131");
        const auto cancelled = Request();
        Event("cancelled");
    };
    fail();  // nobody wants it yet
    {
        const doubles::TraceWatch trace("ModuleDownload=0");
        fail();
        EXPECT_THAT(trace.Lines(),
                    ElementsAre("0|ModuleDownload|Module download error: "
                                R"({"cancellable":"true","command":"module-install",)"
                                R"("error-data":{"error-code":"131","error-metadata":"process1,process2",)"
                                R"("error-type":"fatal"},"event-type":"error","module-id":"KQ7L",)"
                                R"("product-sapcode":"QRTX","product-vardo-version":"20.0"})"
                                "\r\n"));
    }
    const doubles::TraceWatch trace("ModuleDownload=off");
    fail();
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

}  // namespace
}  // namespace nuoplexasupport
