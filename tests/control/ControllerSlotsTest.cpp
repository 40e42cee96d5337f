// The order of the controller's virtual operations is part of the binary interface of the control library.
#include <gmock/gmock.h>

#include <cstddef>

#include "doubles/PlexaControlDouble.h"
#include "support/Slots.h"

namespace nuoplexasupport {
namespace {

namespace api = orvane::plexa::api5;
using testing::ElementsAre;

template <typename Result, typename... Arguments>
Result CallSlot(std::size_t inSlot, Arguments... inArguments) {
    api::IPlexaController& controller = doubles::ControlDouble::Get();
    return support::CallSlot<Result>(controller, inSlot, inArguments...);
}

TEST(ControllerSlots, HoldTheControllersOperations) {
    auto& control = doubles::ControlDouble::Get();
    void* const none = nullptr;
    const char* const id = "A-1";
    const char* path = nullptr;
    const char** list = nullptr;
    std::size_t count = 0;
    CallSlot<void>(0);
    CallSlot<void>(1);
    EXPECT_TRUE(CallSlot<bool>(2, id, true, "text", none));
    CallSlot<void>(3);
    EXPECT_EQ(CallSlot<int>(4, id, none), control.mProcessId);
    EXPECT_TRUE(CallSlot<bool>(5, id, none));
    EXPECT_TRUE(CallSlot<bool>(6, id, &path, none));
    CallSlot<void>(7, path);
    EXPECT_TRUE(CallSlot<bool>(8, &list, &count, none));
    CallSlot<void>(9);
    CallSlot<void>(10, list, count);
    EXPECT_THAT(control.Calls(),
                ElementsAre("Reserved0", "Reserved1", "LaunchApp A-1 true text", "Reserved3",
                            "GetProcessId A-1", "CheckAppInstalled A-1", "GetAppPath A-1", "ReleaseAppPath",
                            "GetTargetSpecifierList ", "Reserved9", "ReleaseTargetSpecifierList 0"));
}

}  // namespace
}  // namespace nuoplexasupport
