/// Where definitions are registered and found. Any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "nuoscripting/Definitions.h"
#include "nuoscripting/export.h"

namespace nuoscripting {

class ScriptDefinitions;

/// Makes a definition when the library first asks for it.
class NUOSCRIPTING_API ScriptObjectDefinitionInitiatorBase {
  public:
    ScriptObjectDefinitionInitiatorBase() = default;
    ScriptObjectDefinitionInitiatorBase(const ScriptObjectDefinitionInitiatorBase&) = delete;
    ScriptObjectDefinitionInitiatorBase& operator=(const ScriptObjectDefinitionInitiatorBase&) = delete;
    virtual ~ScriptObjectDefinitionInitiatorBase();

    /// Creates the definition object and hands it to `ioDefinitions.AddObjectDefinition`. Called until it
    /// has succeeded once, with the registry locked: it calls nothing else of the registry, and loads no
    /// library.
    virtual void Initiate(ScriptDefinitions& ioDefinitions) = 0;
};

/// Registers an initiator while it lives: as a static object from loading a library to unloading it. A
/// library whose classes are in a context stays loaded until that context has gone, whoever unloads it. A
/// registrar that isn't static mustn't go before those contexts.
class NUOSCRIPTING_API ScriptObjectDefinitionRegistrar {
  public:
    explicit ScriptObjectDefinitionRegistrar(
        std::unique_ptr<ScriptObjectDefinitionInitiatorBase> inInitiator);
    ScriptObjectDefinitionRegistrar(const ScriptObjectDefinitionRegistrar&) = delete;
    ScriptObjectDefinitionRegistrar& operator=(const ScriptObjectDefinitionRegistrar&) = delete;
    /// Takes back the initiator and what it has defined. Contexts that exist keep the class.
    ~ScriptObjectDefinitionRegistrar();

  private:
    std::unique_ptr<ScriptObjectDefinitionInitiatorBase> mInitiator;
};

/// The process's definitions.
class NUOSCRIPTING_API ScriptDefinitions {
  public:
    using DefinitionPtr = std::shared_ptr<const ScriptObjectDefinitionBase>;

    static ScriptDefinitions& GetInstance();

    /// Adds a definition under a name and lets it define itself; for initiators. Throws `ScriptError` when
    /// the name is taken, and whatever defining throws; then nothing is added.
    void AddObjectDefinition(std::string_view inName,
                             std::shared_ptr<ScriptObjectDefinitionBase> inDefinition);

    /// All definitions, in the order of adding; initiators that haven't been asked yet are asked now. Throws
    /// what an initiator throws, without whom no context can be made: what it has added is taken back, and it
    /// is asked again the next time.
    [[nodiscard]] std::vector<DefinitionPtr> GetObjectDefinitions();
    /// The definition of that name; null when there is none.
    [[nodiscard]] DefinitionPtr FindObjectDefinition(std::string_view inName);

    /// The same as `GetObjectDefinitions`, each with what keeps its library loaded: hold it as long as the
    /// definition, or an object of it, is used.
    struct Pinned {
        std::shared_ptr<void> mLibrary;  // goes last
        DefinitionPtr mDefinition;
        UTF8String mName;  // that it is registered under
    };
    [[nodiscard]] std::vector<Pinned> PinObjectDefinitions();

  private:
    friend ScriptObjectDefinitionRegistrar;
    struct Entry {
        UTF8String mName;
        DefinitionPtr mDefinition;
        const void* mOwner;
    };
    struct Registration {
        ScriptObjectDefinitionInitiatorBase* mInitiator;
        const void* mOwner;
        bool mIsDone;
    };

    ScriptDefinitions() = default;
    void Register(ScriptObjectDefinitionInitiatorBase& ioInitiator, const void* inOwner);
    void Unregister(const void* inOwner);
    void InitiateLocked();

    std::recursive_mutex mLock;  // initiators add while they are asked
    std::vector<Registration> mRegistrations;
    std::vector<Entry> mEntries;
    const void* mCurrentOwner = nullptr;
    std::uint64_t mChanges = 0;  // of mRegistrations
};

}  // namespace nuoscripting
