// The order of the dispatcher's virtual operations is part of the binary interface of the message library.
#include <cstddef>
#include <cstdint>

#include "support/Slots.h"
#include "transport/TransportFixture.h"

namespace nuoplexasupport {
namespace {

namespace api = orvane::plexa::api5;
using doubles::Message5Double;
using testing::ElementsAre;

template <typename Result, typename... Arguments>
Result CallSlot(std::size_t inSlot, Arguments... inArguments) {
    api::IPlexaMessageDispatcher& dispatcher = Message5Double::Get();
    return support::CallSlot<Result>(dispatcher, inSlot, inArguments...);
}

void Refreshed(void* /*inContext*/) {}

TEST_F(TransportFixture, TheDispatchersOperationsStandInTheirSlots) {
    using Code = api::PlexaMessageErrorCode;
    api::IPlexaMessageListener* const listener = &mTransport;
    const api::SuiteMessage message("T");
    api::EndPoint* array = nullptr;
    std::size_t count = 0;
    CallSlot<void>(0);
    CallSlot<Code>(1, &message);
    for (const std::size_t slot : {2U, 3U, 4U, 5U}) {
        CallSlot<Code>(slot, listener);
    }
    for (const std::size_t slot : {6U, 7U}) {
        CallSlot<Code>(slot, static_cast<api::EndPointRefreshCallback>(&Refreshed), static_cast<void*>(this));
    }
    CallSlot<void>(8);
    CallSlot<void>(9);
    EXPECT_EQ(doubles::AppId(CallSlot<api::EndPoint>(10)), "SELF-1");
    EXPECT_TRUE(CallSlot<bool>(11));
    EXPECT_EQ(CallSlot<Code>(12, &array, &count), api::kPlexaMessageErrorCode_None);
    CallSlot<void>(13, array);
    EXPECT_THAT(
        TakeCalls(),
        ElementsAre("Reserved0", "SendMessage type=T payload= source=", "AddListener", "RemoveListener",
                    "EnableListener", "DisableListener", "RegisterEndPointRefreshCallback",
                    "UnregisterEndPointRefreshCallback", "Reserved8", "Reserved9", "GetSelfEndPoint",
                    "IsDispatcherReady", "GetEndPointList", "ReleaseEndPointList"));
}

}  // namespace
}  // namespace nuoplexasupport
