// The library as hosts load and unload it. Each test needs a process in which it isn't loaded yet.

#include <gmock/gmock.h>

#include <dlfcn.h>

#include <atomic>
#include <fstream>
#include <sstream>
#include <thread>

#include <nuoscripting/nuoscripting.h>

namespace {

using nuoscripting::ScriptContext;
using nuoscripting::ScriptDefinitions;

bool IsMapped(const std::string& inName) {
    std::ifstream maps("/proc/self/maps");
    std::stringstream text;
    text << maps.rdbuf();
    return text.str().find(inName) != std::string::npos;
}

bool IsDefined() {
    return ScriptDefinitions::GetInstance().FindObjectDefinition("PushNotificationProject") != nullptr;
}

void* Load() {
    void* const library = ::dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(library, nullptr) << ::dlerror();
    return library;
}

constexpr const char* kScript =
    "if (new MobileAppLayer.PushNotificationProject().pushNotificationReceived('{}') !== true) throw 'not true'";

class Own final : public nuoscripting::ScriptObject {
  public:
    Own() : ScriptObject("Own") {}
};

}  // namespace

template <>
void nuoscripting::ScriptObjectDefinition<Own>::DefineObject(ScriptDefinitionContext& /*ioContext*/) {}

namespace {

class OwnInitiator final : public nuoscripting::ScriptObjectDefinitionInitiatorBase {
  public:
    explicit OwnInitiator(std::string inName) : mName(std::move(inName)) {}
    void Initiate(ScriptDefinitions& ioDefinitions) override {
        ioDefinitions.AddObjectDefinition(mName, std::make_shared<nuoscripting::ScriptObjectDefinition<Own>>(
                                                     nuocore::UTF8String(mName), ""));
    }

  private:
    const std::string mName;
};

}  // namespace

TEST(Library, BringsItsScriptClassAndTakesItBack) {
    EXPECT_FALSE(IsDefined());
    for (int i = 0; i < 3; ++i) {
        void* const library = Load();
        EXPECT_TRUE(IsDefined());
        ASSERT_EQ(::dlclose(library), 0);
        EXPECT_FALSE(IsDefined());
        EXPECT_FALSE(IsMapped("libnuoplexasupport.so"));
    }
}

TEST(Library, DoesNotLoadTheEngineBeforeTheFirstContext) {
    void* const library = Load();
    EXPECT_TRUE(IsDefined());
    EXPECT_FALSE(IsMapped("javascriptcore"));
    ScriptContext::Create()->Run(kScript, "test.js");
    EXPECT_TRUE(IsMapped("javascriptcore"));
    ::dlclose(library);
}

TEST(Library, StaysWhileAContextHasItsClass) {
    void* const library = Load();
    auto context = ScriptContext::Create();
    context->Run("var kept = new MobileAppLayer.PushNotificationProject()", "test.js");
    ASSERT_EQ(::dlclose(library), 0);
    EXPECT_TRUE(IsMapped("libnuoplexasupport.so"));
    context->Run("kept.pushNotificationReceived('{}')", "test.js");
    context->Run(kScript, "test.js");
    context.reset();
    EXPECT_FALSE(IsMapped("libnuoplexasupport.so"));
    EXPECT_FALSE(IsDefined());
    EXPECT_THROW(ScriptContext::Create()->Run(kScript, "test.js"), nuoscripting::ScriptException);
}

// Whoever loads a library holds the loader's lock while the library registers its class, and whoever makes a
// context asks the loader about each class. Where the two wait for each other, the patience of the test run
// ends it.
TEST(Library, MayComeAndGoWhileContextsAreMade) {
    std::vector<std::unique_ptr<nuoscripting::ScriptObjectDefinitionRegistrar>> registrars;
    for (int i = 0; i < 50; ++i) {
        registrars.push_back(std::make_unique<nuoscripting::ScriptObjectDefinitionRegistrar>(
            std::make_unique<OwnInitiator>("Own" + std::to_string(i))));
    }
    std::atomic<bool> isDone = false;
    std::atomic<int> seen = 0;
    std::thread comesAndGoes([&] {
        for (int i = 0; i < 500 || seen == 0; ++i) ::dlclose(Load());
        isDone = true;
    });
    const auto look = [&] {
        for (const auto& pinned : ScriptDefinitions::GetInstance().PinObjectDefinitions()) {
            if (pinned.mDefinition->GetName() != "PushNotificationProject") continue;
            EXPECT_NE(pinned.mLibrary, nullptr);
            ++seen;
        }
    };
    // What a thread does for the first time may take the loader's lock too.
    while (!isDone) std::thread(look).join();
    comesAndGoes.join();
    EXPECT_FALSE(IsMapped("libnuoplexasupport.so"));
}

TEST(Library, ServesAContextThatWasMadeAfterItWasLoadedAgain) {
    ::dlclose(Load());
    void* const library = Load();
    ScriptContext::Create()->Run(kScript, "test.js");
    ::dlclose(library);
}
