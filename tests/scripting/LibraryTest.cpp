// The library as hosts load and unload it. Each test needs a process in which it isn't loaded yet.

#include <gmock/gmock.h>

#include <dlfcn.h>

#include <nuoscripting/nuoscripting.h>
#include <fstream>
#include <sstream>

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

TEST(Library, ServesAContextThatWasMadeAfterItWasLoadedAgain) {
    ::dlclose(Load());
    void* const library = Load();
    ScriptContext::Create()->Run(kScript, "test.js");
    ::dlclose(library);
}
