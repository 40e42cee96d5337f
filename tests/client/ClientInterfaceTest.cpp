#include <type_traits>

#include "client/ClientFixture.h"

namespace nuoplexasupport {
namespace {

using ClientInterface = ClientFixture;

static_assert(!std::is_abstract_v<IPlexaClient>);
static_assert(!std::is_copy_constructible_v<IPlexaClient> && !std::is_move_constructible_v<IPlexaClient>);
static_assert(!std::is_copy_assignable_v<IPlexaClient> && !std::is_move_assignable_v<IPlexaClient>);
static_assert(std::is_base_of_v<boost::enable_shared_from_this<IPlexaClient>, IPlexaClient>);
static_assert(sizeof(IPlexaClient) == sizeof(void*) + sizeof(boost::enable_shared_from_this<IPlexaClient>));
static_assert(std::is_same_v<std::underlying_type_t<PlexaSerializationFlavor>, std::int32_t>);
static_assert(std::is_same_v<std::underlying_type_t<PlexaRequestIDKeyType>, std::int32_t>);
static_assert(!std::is_convertible_v<PlexaSerializationFlavor, PlexaRequestIDKeyType>);
static_assert(std::is_same_v<PlexaMessageCallback, void(const std::string&, const std::string&,
                                                        const std::string&, const std::string&)>);

TEST_F(ClientInterface, DefaultBodiesDoNothing) {
    const auto client = boost::make_shared<IPlexaClient>();
    client->ReceiveResponse(ImmutableString("T"), Guid(), {}, "");
    client->ReceiveSubscribedMessage(ImmutableString("T"), {});
    client->ReceiveRawSubscribedMessage(ImmutableString("T"), "", "");
    client->ReceiveTaviNotification(ImmutableString("T"), ImmutableString("S"), {});
    EXPECT_THAT(mAssertions.Records(), testing::IsEmpty());
}

// Calls a virtual operation by its place in the table, as a host built by another compiler does.
template <typename Result, typename... Arguments>
Result CallSlot(IPlexaClient* inClient, std::size_t inSlot, Arguments... inArguments) {
    void** const table = *reinterpret_cast<void***>(inClient);
    return reinterpret_cast<Result (*)(IPlexaClient*, Arguments...)>(table[inSlot])(inClient, inArguments...);
}

TEST_F(ClientInterface, OperationsStandInTheirSlots) {
    const auto client = MakeClient("a");
    const ImmutableString type("T");
    const ImmutableString subType("S");
    const Guid id = Guid::Null();
    const VariantObject payload;
    const UTF8String text = "text";
    // The destructor takes the first two entries.
    CallSlot<void>(client.get(), 2, &type, &id, &payload, &text);
    CallSlot<void>(client.get(), 3, &type, &payload);
    CallSlot<void>(client.get(), 4, &type, &text, static_cast<const char*>("APP-1"));
    CallSlot<void>(client.get(), 5, &type, &subType, &payload);
    EXPECT_THAT(TakeCalls(), testing::ElementsAre(
                                 "a: response T 00000000-0000-0000-0000-000000000000 {} 'text'",
                                 "a: object T {}", "a: raw T 'text' from APP-1", "a: notification T/S {}"));
}

}  // namespace
}  // namespace nuoplexasupport
