#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "doubles/NuocoreWatch.h"
#include "transport/PlexaInterface.h"
#include "transport/PlexaResult.h"

namespace nuoplexasupport {
namespace {

using doubles::TraceWatch;
using testing::ElementsAre;
using testing::IsEmpty;

PlexaMessageErrorCode Code(std::uint32_t inCode) {
    return static_cast<PlexaMessageErrorCode>(static_cast<std::int32_t>(inCode));
}

TEST(PlexaResult, EveryCodeHasItsText) {
    EXPECT_STREQ(PlexaResultText(Code(2)), "[plexa] Message error: Not configured");
    EXPECT_STREQ(PlexaResultText(Code(3)), "[plexa] Message error: Invalid parameter");
    EXPECT_STREQ(PlexaResultText(Code(4)), "[plexa] Message error: OrvaneIPCBroker update in progress");
    EXPECT_STREQ(PlexaResultText(Code(5)), "[plexa] Message error: OrvaneIPCBroker process does not exist");
    EXPECT_STREQ(PlexaResultText(Code(6)), "[plexa] Message error: OrvaneIPCBroker file does not exist");
    EXPECT_STREQ(PlexaResultText(Code(7)), "[plexa] Message error: Unknown");
    EXPECT_STREQ(PlexaResultText(Code(8)), "[plexa] Message error: Unrecognized code");
    EXPECT_STREQ(PlexaResultText(Code(0xFFFFFFFFU)), "[plexa] Message error: Unrecognized code");
}

TEST(CheckPlexaResult, SuccessIsTwoCodesAndTracesNothing) {
    const TraceWatch trace("*=9");
    EXPECT_TRUE(PlexaInterface::CheckPlexaResult(Code(0)));
    EXPECT_TRUE(PlexaInterface::CheckPlexaResult(Code(1)));
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(CheckPlexaResult, AFailureIsTracedWithItsCodeUnsigned) {
    const TraceWatch trace("nuoplexasupport::PlexaInterface=5");
    EXPECT_FALSE(PlexaInterface::CheckPlexaResult(Code(6)));
    EXPECT_FALSE(PlexaInterface::CheckPlexaResult(Code(8)));
    EXPECT_FALSE(PlexaInterface::CheckPlexaResult(Code(0xFFFFFFFFU)));
    EXPECT_THAT(
        trace.Lines(),
        ElementsAre("5|nuoplexasupport::PlexaInterface|PlexaMessageErrorCode= 6 error type= [plexa] Message "
                    "error: OrvaneIPCBroker file does not exist\r\n",
                    "5|nuoplexasupport::PlexaInterface|PlexaMessageErrorCode= 8 error type= [plexa] Message "
                    "error: Unrecognized code\r\n",
                    "5|nuoplexasupport::PlexaInterface|PlexaMessageErrorCode= 4294967295 error type= [plexa] "
                    "Message error: Unrecognized code\r\n"));
}

TEST(CheckPlexaResult, TracingIsSwitchableWhileRunning) {
    const TraceWatch trace("nuoplexasupport::PlexaInterface=4");
    PlexaInterface::CheckPlexaResult(Code(7));
    EXPECT_THAT(trace.Lines(), IsEmpty());
    nuocore::debug::SetTraceRules("nuoplexasupport::PlexaInterface=5");
    PlexaInterface::CheckPlexaResult(Code(7));
    EXPECT_EQ(trace.Lines().size(), 1U);
    nuocore::debug::SetTraceRules("");
    PlexaInterface::CheckPlexaResult(Code(7));
    EXPECT_EQ(trace.Lines().size(), 1U);
}

}  // namespace
}  // namespace nuoplexasupport
