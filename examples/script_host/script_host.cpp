// A small host that runs a script, and gives it a class of its own with which it talks on the bus:
//
//   script_host greeter.js
//
//   const bus = new example.Bus();
//   bus.listen("org.example.hello", message => {
//       bus.send("org.example.greeting", {text: "hello, " + message.name});
//       bus.stop();
//   });

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <nuocore/Config.h>
#include <nuoplexasupport/nuoplexasupport.h>
#include <nuoscripting/nuoscripting.h>
#include <boost/smart_ptr/make_shared.hpp>

using namespace nuoplexasupport;
using nuoscripting::RefPtr;
using nuoscripting::ScriptContext;
using nuoscripting::ScriptFunction;
using nuoscripting::VariantValue;
using nuoscripting::WeakPtr;

namespace {

// Passes messages of one type on to a function of the script.
class Listener final : public IPlexaClient {
  public:
    Listener(const RefPtr<ScriptContext>& inContext, RefPtr<ScriptFunction> inFunction)
        : mContext(inContext), mFunction(std::move(inFunction)) {}

    // On the delivery thread; scripts run on the context's own.
    void ReceiveSubscribedMessage(const ImmutableString& /*inType*/,
                                  const VariantObject& inPayload) override {
        const std::lock_guard lock(mLock);
        if (const auto context = mContext.Lock())
            context->Post([function = mFunction, inPayload] { function->Call({VariantValue(inPayload)}); });
    }

    // Afterwards this thread holds no reference to the context, which ends on the thread that drops the last.
    void Drop() {
        const std::lock_guard lock(mLock);
        mContext = WeakPtr<ScriptContext>();
        mFunction.reset();
    }

  private:
    std::mutex mLock;
    WeakPtr<ScriptContext> mContext;
    RefPtr<ScriptFunction> mFunction;
};

bool sIsDone = false;

// "example.Bus". Its methods run on the script's thread.
class Bus final : public nuoscripting::ScriptObject {
  public:
    Bus() : ScriptObject("Bus") { sAll.insert(this); }

    // Before the context goes.
    static void EndAll() {
        for (Bus* const bus : sAll) bus->Finalize();
    }

    // What is thrown becomes an exception of the script.
    bool Send(const UTF8String& inType, const VariantValue& inMessage) {
        const auto* const message = boost::any_cast<VariantObject>(&inMessage);
        if (message == nullptr) throw nuoscripting::ScriptError("a message is an object");
        return SendPlexaMessage(ImmutableString(inType), *message, kPlexaSerializationFlavor_JSON, "", "");
    }
    void Listen(const UTF8String& inType, const RefPtr<ScriptFunction>& inFunction) {
        mListeners.emplace_back(ImmutableString(inType),
                                boost::make_shared<Listener>(GetContext(), inFunction));
        SubscribeToMessage(mListeners.back().second, mListeners.back().first);
    }
    void Stop() { sIsDone = true; }

  private:
    ~Bus() override { sAll.erase(this); }
    // The script has lost the object, or the host has ended it.
    void OnFinalize() override {
        for (const auto& [type, listener] : mListeners) {
            UnsubscribeFromMessage(listener, type);
            listener->Drop();
        }
        mListeners.clear();
    }

    static std::set<Bus*> sAll;
    std::vector<std::pair<ImmutableString, boost::shared_ptr<Listener>>> mListeners;
};

std::set<Bus*> Bus::sAll;

}  // namespace

// How scripts see it; before the class is first used as one.
template <>
void nuoscripting::ScriptObjectDefinition<Bus>::DefineObject(ScriptDefinitionContext& /*ioContext*/) {
    AddOrModifyNamespace("example", kNamespaceFlag_Enumerable);
    AddMethod("send", {ParameterType::UTF8Text("type"), ParameterType::Variant("message")},
              PropertyType::Bool(), &Bus::Send, true, kItemFlag_Enumerable,
              "Sends a message to every other process", 0);
    AddMethod("listen", {ParameterType::UTF8Text("type"), ParameterType::Function("function")},
              PropertyType::Void(), &Bus::Listen, true, kItemFlag_Enumerable,
              "Has messages of a type passed to a function", 0);
    AddMethod("stop", {}, PropertyType::Void(), &Bus::Stop, true, kItemFlag_Enumerable, "Ends the host", 0);
}

namespace {

class Initiator final : public nuoscripting::ScriptObjectDefinitionInitiatorBase {
    void Initiate(nuoscripting::ScriptDefinitions& ioDefinitions) override {
        ioDefinitions.AddObjectDefinition(
            "Bus", std::make_shared<nuoscripting::ScriptObjectDefinition<Bus>>("Bus", "Talks on the bus"));
    }
};

const nuoscripting::ScriptObjectDefinitionRegistrar sRegistrar(std::make_unique<Initiator>());

void RunScript(const std::string& inSource, const std::string& inFile) {
    nuoscripting::ScriptContextSettings settings;
    settings.mTimeLimit = std::chrono::seconds(5);  // for each call into the script
    settings.mMemoryLimit = std::size_t{64} << 20U;
    settings.mConsole = [](nuoscripting::ConsoleLevel, std::string_view inText) {
        std::cout << inText << std::endl;
    };
    const auto context = ScriptContext::Create(settings);
    struct End {
        ~End() { Bus::EndAll(); }
    } const end;
    context->Run(inSource, inFile);
    while (!sIsDone)
        if (context->WaitForPending(std::chrono::hours(1))) context->RunPending();
}

}  // namespace

int main(int argc, char** argv) {
    std::ifstream file(argc == 2 ? argv[1] : "");
    if (!file) {
        std::cerr << "usage: script_host FILE" << std::endl;
        return 2;
    }
    const std::string source{std::istreambuf_iterator<char>(file), {}};

    nuocore::config::SetProductConfig({"SCRIPT", "1.0", {}});
    Startup();  // held for the life of the process
    int code = 0;
    try {
        RunScript(source, argv[1]);
    } catch (const nuoscripting::ScriptException& exception) {
        std::cerr << exception.GetFile() << ":" << exception.GetLine() << ": " << exception.what()
                  << std::endl;
        code = 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        code = 1;
    }
    Shutdown();
    return code;
}
