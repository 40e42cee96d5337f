#include <gmock/gmock.h>

#include "Probe.h"

namespace {

using namespace nuoscripting;
using testing::ElementsAre;

class Plain final : public ScriptObject {
  public:
    Plain() : ScriptObject("Plain") {}
    bool Do(const UTF8String& inText) { return !inText.empty(); }
    void Other(std::optional<double> /*inValue*/) {}
};

/// What a definition is told while it is defined.
std::function<void(ScriptObjectDefinition<Plain>&)> sDefine;
int sDefined = 0;

}  // namespace

template <>
void nuoscripting::ScriptObjectDefinition<Plain>::DefineObject(ScriptDefinitionContext& ioContext) {
    ++sDefined;
    EXPECT_EQ(&ioContext.GetDefinition(), this);
    if (sDefine) sDefine(*this);
}

namespace {

class Initiator final : public ScriptObjectDefinitionInitiatorBase {
  public:
    explicit Initiator(std::string inName) : mName(std::move(inName)) {}
    void Initiate(ScriptDefinitions& ioDefinitions) override {
        ioDefinitions.AddObjectDefinition(mName, std::make_shared<ScriptObjectDefinition<Plain>>(
                                                     UTF8String(mName), "A plain class", 0x42U));
    }

  private:
    const std::string mName;
};

// Two classes of one name, in the namespaces that are their descriptions.
class Twins final : public ScriptObjectDefinitionInitiatorBase {
    void Initiate(ScriptDefinitions& ioDefinitions) override {
        for (const char* const place : {"one", "two"}) {
            ioDefinitions.AddObjectDefinition(
                std::string(place) + ".Plain",
                std::make_shared<ScriptObjectDefinition<Plain>>("Plain", UTF8String(place)));
        }
    }
};

// Adds a class before it fails, the first time.
class Hesitant final : public ScriptObjectDefinitionInitiatorBase {
    void Initiate(ScriptDefinitions& ioDefinitions) override {
        ioDefinitions.AddObjectDefinition(
            "Plain", std::make_shared<ScriptObjectDefinition<Plain>>("Plain", "A plain class"));
        if (!std::exchange(mHasFailed, true)) throw std::runtime_error("not yet");
    }

    bool mHasFailed = false;
};

class Barren final : public ScriptObjectDefinition<Plain> {
  public:
    using ScriptObjectDefinition::ScriptObjectDefinition;
    RefPtr<ScriptObject> CreateInstance(const RefPtr<ScriptContext>& /*inContext*/) const override {
        return nullptr;
    }
    RefPtr<ScriptObject> CreateFactoryInstance(const RefPtr<ScriptContext>& /*inContext*/) const override {
        return nullptr;
    }
};

class BarrenInitiator final : public ScriptObjectDefinitionInitiatorBase {
    void Initiate(ScriptDefinitions& ioDefinitions) override {
        ioDefinitions.AddObjectDefinition("Barren", std::make_shared<Barren>("Barren", ""));
    }
};

std::unique_ptr<ScriptObjectDefinitionRegistrar> Register(const std::string& inName) {
    return std::make_unique<ScriptObjectDefinitionRegistrar>(std::make_unique<Initiator>(inName));
}

ScriptDefinitions::DefinitionPtr Find(std::string_view inName) {
    return ScriptDefinitions::GetInstance().FindObjectDefinition(inName);
}

void Define(std::function<void(ScriptObjectDefinition<Plain>&)> inDefine) { sDefine = std::move(inDefine); }

}  // namespace

TEST(Definitions, AreMadeWhenTheyAreFirstAskedForAndOnce) {
    const auto registrar = Register("Plain");
    EXPECT_EQ(sDefined, 0);
    ASSERT_NE(Find("Plain"), nullptr);
    ASSERT_NE(Find("Plain"), nullptr);
    EXPECT_EQ(sDefined, 1);
    EXPECT_EQ(Find("plain"), nullptr);
}

TEST(Definitions, AreTakenBackWithTheirRegistrar) {
    auto first = Register("First");
    const auto second = Register("Second");
    ASSERT_NE(Find("First"), nullptr);
    first.reset();
    EXPECT_EQ(Find("First"), nullptr);
    EXPECT_NE(Find("Second"), nullptr);
    first = Register("First");
    EXPECT_NE(Find("First"), nullptr);
}

TEST(Definitions, StandInTheOrderOfAdding) {
    const auto second = Register("Zeta");
    const auto first = Register("Alpha");
    std::vector<std::string> names;
    for (const auto& definition : ScriptDefinitions::GetInstance().GetObjectDefinitions()) {
        names.emplace_back(definition->GetName());
    }
    EXPECT_THAT(names, ElementsAre("Probe", "Other", "Zeta", "Alpha"));
}

TEST(Definitions, HoldWhatTheyWereGiven) {
    Define([](auto& ioDefinition) {
        ioDefinition.AddOrModifyNamespace("wrong", 0);
        ioDefinition.AddOrModifyNamespace("one.two", 0x10000);
        ioDefinition.AddMethod("do", {ParameterType::UTF8Text("text")}, PropertyType::Bool(), &Plain::Do,
                               true, 0x80000, "Does it", 0);
        ioDefinition.AddMethod("other", {ParameterType::Double("value").AsOptional()}, PropertyType::Void(),
                               &Plain::Other, false, 0x200000, "The other", 250);
    });
    const auto registrar = Register("Plain");
    const auto definition = Find("Plain");
    EXPECT_EQ(definition->GetName(), "Plain");
    EXPECT_EQ(definition->GetDescription(), "A plain class");
    EXPECT_EQ(definition->GetObjectFlags(), 0x42U);
    EXPECT_EQ(definition->GetNamespace(), "one.two");
    EXPECT_EQ(definition->GetNamespaceFlags(), 0x10000U);
    EXPECT_EQ(definition->GetPath(), "one.two.Plain");
    ASSERT_EQ(definition->ComponentsEnd() - definition->ComponentsBegin(), 2);
    const ScriptItemDefinitionBase& item = **definition->ComponentsBegin();
    EXPECT_EQ(item.GetName(), "do");
    EXPECT_EQ(item.GetFlags(), 0x80000U);
    EXPECT_EQ(item.GetDescription(), "Does it");
    EXPECT_EQ(item.GetResultType().GetType(), ScriptType::kBool);
    EXPECT_TRUE(item.IsStrict());
    EXPECT_EQ(item.GetSynchronousTimeoutSetting(), 0U);
    EXPECT_EQ(item.GetSynchronousTimeout(), kDefaultSynchronousTimeout);
    ASSERT_EQ(item.GetParameterTypes().size(), 1U);
    EXPECT_EQ(item.GetParameterTypes()[0].GetType(), ScriptType::kUTF8String);
    EXPECT_EQ(item.GetParameterTypes()[0].GetName(), "text");
    const ScriptItemDefinitionBase& other = **std::next(definition->ComponentsBegin());
    EXPECT_FALSE(other.IsStrict());
    EXPECT_TRUE(other.GetParameterTypes()[0].IsOptional());
    EXPECT_EQ(other.GetSynchronousTimeout(), std::chrono::milliseconds(250));
}

TEST(Definitions, OfOneNameMeet) {
    const auto first = Register("Plain");
    ASSERT_NE(Find("Plain"), nullptr);
    const auto second = Register("Plain");
    EXPECT_THROW(static_cast<void>(Find("Plain")), ScriptError);
}

TEST(Definitions, OfAnInitiatorThatFailsAreTakenBackUntilItSucceeds) {
    const auto before = Register("Before");
    const ScriptObjectDefinitionRegistrar registrar(std::make_unique<Hesitant>());
    EXPECT_THROW(ScriptContext::Create(), std::runtime_error);
    EXPECT_NO_THROW(ScriptContext::Create());
    EXPECT_NE(Find("Before"), nullptr);
    EXPECT_NE(Find("Plain"), nullptr);
}

TEST(Definitions, AreFoundByTheNameTheyAreRegisteredUnder) {
    Define([](auto& ioDefinition) {
        ioDefinition.AddOrModifyNamespace(ioDefinition.GetDescription(), 0);
        ioDefinition.AddMethod("do", {ParameterType::UTF8Text("text")}, PropertyType::Bool(), &Plain::Do,
                               true, 0, "", 0);
    });
    const ScriptObjectDefinitionRegistrar registrar(std::make_unique<Twins>());
    const auto context = ScriptContext::Create();
    context->AddObject("first", "one.Plain");
    context->AddObject("second", "two.Plain");
    EXPECT_EQ(probe::Result(context, "[first instanceof one.Plain, second instanceof two.Plain]"),
              "[true,true]");
    EXPECT_THROW(context->AddObject("third", "Plain"), ScriptError);
}

TEST(Definitions, RefuseItemsOfOneName) {
    Define([](auto& ioDefinition) {
        for (int i = 0; i < 2; ++i) {
            ioDefinition.AddMethod("do", {ParameterType::UTF8Text("text")}, PropertyType::Bool(), &Plain::Do,
                                   true, 0, "", 0);
        }
    });
    const auto registrar = Register("Plain");
    EXPECT_THROW(static_cast<void>(Find("Plain")), ScriptError);
    EXPECT_THROW(ScriptContext::Create(), ScriptError);
}

TEST(Definitions, RefuseTypesThatAreNotTheFunctions) {
    const auto refused = [](std::vector<ParameterType> inParameters, PropertyType inResult) {
        Define([&](auto& ioDefinition) {
            ioDefinition.AddMethod("do", inParameters, inResult, &Plain::Do, true, 0, "", 0);
        });
        const auto registrar = Register("Plain");
        EXPECT_THROW(static_cast<void>(Find("Plain")), ScriptError);
    };
    refused({}, PropertyType::Bool());
    refused({ParameterType::Int32("number")}, PropertyType::Bool());
    refused({ParameterType::UTF8Text("text").AsOptional()}, PropertyType::Bool());
    refused({ParameterType::UTF8Text("text")}, PropertyType::Void());
    refused({ParameterType::UTF8Text("text"), ParameterType::UTF8Text("more")}, PropertyType::Bool());
}

TEST(Definitions, RefuseNamesThatAreEmpty) {
    ScriptObjectDefinition<Plain> definition("Plain", "");
    EXPECT_THROW(ScriptObjectDefinition<Plain>("", ""), ScriptError);
    for (const char* const path : {"", ".", "a.", ".a", "a..b"}) {
        EXPECT_THROW(definition.AddOrModifyNamespace(path, 0), ScriptError) << path;
    }
    EXPECT_THROW(definition.AddMethod("", {ParameterType::UTF8Text("text")}, PropertyType::Bool(), &Plain::Do,
                                      true, 0, "", 0),
                 ScriptError);
}

TEST(Definitions, ThatGiveNoObjectAreAnException) {
    Define(nullptr);
    const ScriptObjectDefinitionRegistrar registrar(std::make_unique<BarrenInitiator>());
    const auto context = ScriptContext::Create();
    EXPECT_EQ(probe::Result(context, "new Barren()"),
              "Error: cannot make a \"Barren\": its definition gave no object");
    EXPECT_THROW(context->AddObject("shared", "Barren"), ScriptError);
    EXPECT_EQ(probe::Result(context, "typeof shared"), "\"undefined\"");
}

TEST(Definitions, ContextsKeepTheirClassesWhenARegistrarGoes) {
    Define([](auto& ioDefinition) {
        ioDefinition.AddMethod("do", {ParameterType::UTF8Text("text")}, PropertyType::Bool(), &Plain::Do,
                               true, 0, "", 0);
    });
    auto registrar = Register("Plain");
    const auto before = ScriptContext::Create();
    registrar.reset();
    const auto after = ScriptContext::Create();
    EXPECT_EQ(probe::Result(before, "new Plain().do('x')"), "true");
    EXPECT_EQ(probe::Result(after, "typeof Plain"), "\"undefined\"");
}
