#include "nuoplexasupport/PushHooks.h"

#include <memory>

#include "client/ClientFixture.h"

namespace nuoplexasupport {
namespace {

using testing::IsEmpty;

TEST_F(ClientFixture, PushHooksNeitherKeepNorDoAnything) {
    const auto client = MakeClient("a");
    SubscribeToMessage(client, ImmutableString("text"));
    mDouble.ClearCalls();
    const doubles::LockWatch locks;
    const doubles::TraceWatch trace("*=9");
    const auto kept = std::make_shared<int>(0);
    const std::size_t texts = ImmutableString::CountTexts();
    const ImmutableString text("text");
    push::SetTaviAuthTokenFunction([this, kept](const ImmutableString&) { mCalls.emplace_back("called"); });
    push::SetTaviCredentials(text, text, text, text, text, true);
    push::PushNotificationReceived(text);
    push::ClearTaviCredentials();
    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_EQ(ImmutableString::CountTexts(), texts);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_THAT(mDouble.Calls(), IsEmpty());
    EXPECT_THAT(locks.Acquisitions(), IsEmpty());
    EXPECT_THAT(trace.Lines(), IsEmpty());
    EXPECT_THAT(mLog.Records(), IsEmpty());
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

}  // namespace
}  // namespace nuoplexasupport
