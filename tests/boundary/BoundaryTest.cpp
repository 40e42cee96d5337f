// What crosses from the library's binary into the host's: calls, virtual operations, exceptions, constants.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <typeinfo>
#include <vector>

#include "doubles/BrokerFile.h"
#include "doubles/NuocoreWatch.h"
#include "doubles/PlexaControlDouble.h"
#include "doubles/PlexaMessage5Double.h"
#include "nuocore/Config.h"
#include "nuoplexasupport/Applications.h"
#include "nuoplexasupport/nuoplexasupport.h"
#include "nuoscripting/nuoscripting.h"
#include "transport/Envelopes.h"

namespace {

using namespace nuoplexasupport;
using nuocore::serialization::MakeValue;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kEventType = "plexa.SuiteMessage.zarn.apps.ProductModuleDeploymentEvent";

class Listener final : public IPlexaClient {
  public:
    void ReceiveSubscribedMessage(const ImmutableString& inType, const VariantObject& inPayload) override {
        for (const auto& [key, value] : inPayload)
            mReceived.push_back(std::string(inType.View()) + " " + std::string(key));
    }
    std::vector<std::string> mReceived;
};

class Boundary : public testing::Test {
  protected:
    Boundary() {
        nuocore::config::SetProductConfig({"QRTX", "20.0", "20.0.1", false});
        Startup();
        mDouble.Refresh();
        mDouble.ClearCalls();
    }
    ~Boundary() override { Shutdown(); }

    void Arrive(const char* inType, const char* inPayload) {
        Enveloped<doubles::api::SuiteMessage> message(inType);
        message.SetPayload(inPayload);
        message.SetSource(doubles::api::EndPoint("PEER-1", 1, 20));
        mDouble.Deliver(message);
    }

    doubles::BrokerFile mBroker;
    doubles::AssertionWatch mAssertions;
    doubles::LogWatch mLog;
    doubles::Message5Double& mDouble = doubles::Message5Double::Get();
};

TEST_F(Boundary, MessagesReachAClientOfTheHost) {
    const auto listener = boost::make_shared<Listener>();
    SubscribeToMessage(listener, ImmutableString("T"));
    Arrive("T", "<message><a>1</a></message>");
    Arrive("T", "{\"b\": 2}");
    EXPECT_THAT(listener->mReceived, ElementsAre("T a", "T b"));
    UnsubscribeFromMessage(listener, ImmutableString("T"));
}

TEST_F(Boundary, AFailedDownloadIsCaughtByItsType) {
    const auto future = RequestModuleDownload(ImmutableString("KQ7L"), {}, true);
    Arrive(
        kEventType,
        "<message><command>module-install</command><event-type>error</event-type>"
        "<product-sapcode>QRTX</product-sapcode><product-vardo-version>20.0</product-vardo-version>"
        "<module-id>KQ7L</module-id><cancellable>true</cancellable><error-data><error-code>131</error-code>"
        "<error-type>fatal</error-type><error-metadata>x</error-metadata></error-data></message>");
    ASSERT_TRUE(future.IsReady());
    try {
        future.Get();
        FAIL() << "nothing was thrown";
    } catch (const ModuleDownloadFailedException& exception) {
        EXPECT_EQ(exception.GetCode(), kModuleOperationsBlockedByConflictingProcess);
        EXPECT_EQ(exception.GetMessageText(), "Failed to download the requested module");
        // The library threw what the host calls by that name, and its bases are the host's.
        EXPECT_TRUE(typeid(exception) == typeid(ModuleDownloadFailedException));
    }
    EXPECT_THROW(future.Get(), nuocore::config::nuo_exception);
    EXPECT_THROW(future.Get(), std::runtime_error);
}

TEST_F(Boundary, AValueThatCannotBeWrittenIsCaughtByItsType) {
    VariantObject message;
    message["__attributes__"] = MakeValue(UTF8String("x"));
    EXPECT_THROW(
        SendPlexaMessage(ImmutableString("T"), message, kPlexaSerializationFlavor_XML, "message", ""),
        boost::bad_any_cast);
}

TEST_F(Boundary, TypesAreTheSameOnBothSides) {
    const auto listener = boost::make_shared<Listener>();
    const IPlexaClient& client = *listener;
    EXPECT_NE(dynamic_cast<const Listener*>(&client), nullptr);
    EXPECT_TRUE(typeid(client) == typeid(Listener));
    EXPECT_EQ(kXMLRootTagDefault_Message, "message");
    EXPECT_EQ(kXMLRootTagDefault_Request, "request");
}

TEST_F(Boundary, TheApplicationsAreThoseOfTheControlLibrary) {
    EXPECT_TRUE(IsAppInstalled("A-1"));
    EXPECT_THAT(doubles::ControlDouble::Get().Calls(), Contains(HasSubstr("CheckAppInstalled A-1")));
}

TEST_F(Boundary, TheScriptClassIsRegisteredByLoadingTheLibrary) {
    const auto definition =
        nuoscripting::ScriptDefinitions::GetInstance().FindObjectDefinition("PushNotificationProject");
    ASSERT_NE(definition, nullptr);
    EXPECT_EQ(definition->GetNamespace(), "MobileAppLayer");
    // This repository has no engine for this system.
    EXPECT_THROW((void)nuoscripting::ScriptContext::Create(), nuoscripting::ScriptError);
}

}  // namespace
