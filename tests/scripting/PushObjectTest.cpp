// The library's script class, with a hook that notes what it is given.

#include <gmock/gmock.h>

#include <thread>

#include <nuoscripting/nuoscripting.h>

#include "nuoplexasupport/PushHooks.h"

namespace {

std::vector<nuocore::ImmutableString> sReceived;
std::thread::id sThread;

}  // namespace

void nuoplexasupport::push::PushNotificationReceived(const ImmutableString& inNotification) {
    sReceived.push_back(inNotification);
    sThread = std::this_thread::get_id();
}

namespace {

using namespace nuoscripting;
using testing::ElementsAre;
using testing::IsEmpty;

std::string Thrown(const RefPtr<ScriptContext>& inContext, const std::string& inSource) {
    try {
        inContext->Run(inSource, "test.js");
    } catch (const ScriptException& exception) {
        return exception.what();
    }
    return "nothing was thrown";
}

bool IsTrue(const RefPtr<ScriptContext>& inContext, const std::string& inSource) {
    return boost::any_cast<bool>(inContext->Evaluate(inSource, "test.js"));
}

const std::string kNew = "new MobileAppLayer.PushNotificationProject()";

}  // namespace

TEST(PushObject, IsDefinedAsItsScriptsKnowIt) {
    const auto definition = ScriptDefinitions::GetInstance().FindObjectDefinition("PushNotificationProject");
    ASSERT_NE(definition, nullptr);
    EXPECT_EQ(definition->GetName(), "PushNotificationProject");
    EXPECT_EQ(definition->GetDescription(), "PushNotificationProject class");
    EXPECT_EQ(definition->GetNamespace(), "MobileAppLayer");
    EXPECT_EQ(definition->GetNamespaceFlags(), 0x10000U);
    ASSERT_EQ(definition->ComponentsEnd() - definition->ComponentsBegin(), 1);
    const ScriptItemDefinitionBase& item = **definition->ComponentsBegin();
    EXPECT_EQ(item.GetName(), "pushNotificationReceived");
    EXPECT_EQ(item.GetDescription(), "Called when push notification is received");
    EXPECT_EQ(item.GetFlags(), 0x80000U);
    EXPECT_EQ(item.GetResultType().GetType(), ScriptType::kBool);
    EXPECT_TRUE(item.IsStrict());
    EXPECT_EQ(item.GetSynchronousTimeoutSetting(), 0U);
    ASSERT_EQ(item.GetParameterTypes().size(), 1U);
    EXPECT_EQ(item.GetParameterTypes()[0].GetType(), ScriptType::kUTF8String);
    EXPECT_EQ(item.GetParameterTypes()[0].GetName(), "notificationJSON");
    EXPECT_FALSE(item.GetParameterTypes()[0].IsOptional());
}

TEST(PushObject, InstancesAreNamedAndAttachedToTheCallingContext) {
    const auto context = ScriptContext::Create();
    const auto definition = ScriptDefinitions::GetInstance().FindObjectDefinition("PushNotificationProject");
    for (const auto& object :
         {definition->CreateInstance(context), definition->CreateFactoryInstance(context)}) {
        EXPECT_EQ(object->GetName(), "PushNotificationProject");
        EXPECT_EQ(object->GetContext(), context);
    }
}

TEST(PushObject, HandsOverTheTextAsItIsOnTheScriptsThread) {
    const auto context = ScriptContext::Create();
    EXPECT_TRUE(IsTrue(context, kNew + ".pushNotificationReceived('{\"a\": \"\\u20ac\"}') === true"));
    EXPECT_TRUE(IsTrue(context, kNew + ".pushNotificationReceived('') === true"));
    EXPECT_TRUE(IsTrue(context, kNew + ".pushNotificationReceived('no JSON at all') === true"));
    EXPECT_THAT(sReceived,
                ElementsAre(nuocore::ImmutableString("{\"a\": \"\u20ac\"}"), nuocore::ImmutableString(""),
                            nuocore::ImmutableString("no JSON at all")));
    EXPECT_EQ(sThread, std::this_thread::get_id());
}

TEST(PushObject, RefusesWhatIsNoString) {
    sReceived.clear();
    const auto context = ScriptContext::Create();
    const std::string place =
        "TypeError: MobileAppLayer.PushNotificationProject.pushNotificationReceived: "
        "parameter 1 \"notificationJSON\" ";
    EXPECT_EQ(Thrown(context, kNew + ".pushNotificationReceived()"),
              place + "is missing; it must be a string");
    EXPECT_EQ(Thrown(context, kNew + ".pushNotificationReceived({})"),
              place + "must be a string, not an object");
    EXPECT_THAT(sReceived, IsEmpty());
}

TEST(PushObject, StandsInItsNamespaceOnly) {
    const auto context = ScriptContext::Create();
    EXPECT_TRUE(IsTrue(context,
                       "typeof PushNotificationProject === 'undefined' && "
                       "Object.keys(globalThis).includes('MobileAppLayer')"));
}
