/// What hosts declare for scripts: namespaces, classes and their methods.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "nuoscripting/ScriptObject.h"
#include "nuoscripting/ScriptValue.h"
#include "nuoscripting/export.h"

namespace nuoscripting {

// Flags of items. The two bits of kItemFlag_ThreadMask form one field: on which thread the method runs and
// whether the script waits for it. In contexts without kContextFlag_Promises, promises are not made: the
// script waits, as without kItemFlag_Promise.

/// The item shows when a script enumerates an object.
inline constexpr std::uint32_t kItemFlag_Enumerable = 0x80000;
/// Runs on the script's thread; the script waits.
inline constexpr std::uint32_t kItemFlag_Direct = 0x000000;
/// Runs on a thread of the core library's default executor; the script gets a promise.
inline constexpr std::uint32_t kItemFlag_Promise = 0x100000;
/// Runs on the UI thread; the script waits, for the item's synchronous time-out at most.
inline constexpr std::uint32_t kItemFlag_UIThread = 0x200000;
/// Runs on the UI thread; the script gets a promise.
inline constexpr std::uint32_t kItemFlag_PromiseOnUIThread = 0x300000;
inline constexpr std::uint32_t kItemFlag_ThreadMask = 0x300000;

/// The namespace shows when a script enumerates the global object.
inline constexpr std::uint32_t kNamespaceFlag_Enumerable = 0x10000;

/// The synchronous time-out of items that name none.
inline constexpr std::chrono::milliseconds kDefaultSynchronousTimeout{60000};

/// How many parameters a method has at most.
inline constexpr std::size_t kMaxParameters = 8;

/// A method as scripts see it. Immutable, so any thread.
class NUOSCRIPTING_API ScriptItemDefinitionBase {
  public:
    /// `inStrict`: an argument must be of the declared type; otherwise it is converted as script operators
    /// would ("5" to a number, 5 to a text). `inSynchronousTimeout` in milliseconds, 0 for the default.
    /// Throws `ScriptError` without a name, with more than `kMaxParameters`, or when a parameter that may be
    /// left out stands before one that may not.
    ScriptItemDefinitionBase(std::uint32_t inFlags, UTF8String inName, PropertyType inResultType,
                             std::vector<ParameterType> inParameterTypes, bool inStrict = true,
                             UTF8String inDescription = {}, std::uint32_t inSynchronousTimeout = 0);
    ScriptItemDefinitionBase(const ScriptItemDefinitionBase&) = delete;
    ScriptItemDefinitionBase& operator=(const ScriptItemDefinitionBase&) = delete;
    virtual ~ScriptItemDefinitionBase();

    [[nodiscard]] std::uint32_t GetFlags() const noexcept { return mFlags; }
    [[nodiscard]] const UTF8String& GetName() const noexcept { return mName; }
    [[nodiscard]] const UTF8String& GetDescription() const noexcept { return mDescription; }
    [[nodiscard]] PropertyType GetResultType() const noexcept { return mResultType; }
    [[nodiscard]] const std::vector<ParameterType>& GetParameterTypes() const noexcept {
        return mParameterTypes;
    }
    [[nodiscard]] bool IsStrict() const noexcept { return mStrict; }
    /// As it was given, 0 for the default.
    [[nodiscard]] std::uint32_t GetSynchronousTimeoutSetting() const noexcept { return mSynchronousTimeout; }
    /// How long a script waits for the method on the UI thread.
    [[nodiscard]] std::chrono::milliseconds GetSynchronousTimeout() const noexcept;

    /// Runs the method. The arguments are of the declared types, one for each parameter ("undefined" for one
    /// that was left out), and may be moved from. What it throws becomes the script's exception.
    virtual ScriptValue Invoke(ScriptObject& ioObject, std::span<ScriptValue> ioArguments) const = 0;

  private:
    UTF8String mName;
    UTF8String mDescription;
    std::vector<ParameterType> mParameterTypes;
    std::uint32_t mFlags;
    std::uint32_t mSynchronousTimeout;
    PropertyType mResultType;
    bool mStrict;
};

class ScriptObjectDefinitionBase;

/// One run of defining a class; checks that its names don't meet. Made by `ScriptDefinitions`.
class NUOSCRIPTING_API ScriptDefinitionContext {
  public:
    explicit ScriptDefinitionContext(ScriptObjectDefinitionBase& ioDefinition) noexcept;
    ScriptDefinitionContext(const ScriptDefinitionContext&) = delete;
    ScriptDefinitionContext& operator=(const ScriptDefinitionContext&) = delete;

    [[nodiscard]] ScriptObjectDefinitionBase& GetDefinition() const noexcept { return mDefinition; }
    /// Takes a component into the class. Throws `ScriptError` when one of its name is there already.
    void AddComponent(const ScriptItemDefinitionBase& inComponent);

  private:
    ScriptObjectDefinitionBase& mDefinition;
    std::vector<const UTF8String*> mNames;
};

/// A class as scripts see it. Changed while it is being defined only; afterwards any thread.
class NUOSCRIPTING_API ScriptObjectDefinitionBase {
  public:
    using Components = std::vector<std::unique_ptr<const ScriptItemDefinitionBase>>;

    ScriptObjectDefinitionBase(UTF8String inName, UTF8String inDescription, std::uint32_t inFlags = 0);
    ScriptObjectDefinitionBase(const ScriptObjectDefinitionBase&) = delete;
    ScriptObjectDefinitionBase& operator=(const ScriptObjectDefinitionBase&) = delete;
    virtual ~ScriptObjectDefinitionBase();

    [[nodiscard]] const UTF8String& GetName() const noexcept { return mName; }
    [[nodiscard]] const UTF8String& GetDescription() const noexcept { return mDescription; }
    /// The class's own flags; this library gives none a meaning.
    [[nodiscard]] std::uint32_t GetObjectFlags() const noexcept { return mFlags; }

    /// Puts the class into a namespace, an object of the global object; dots make namespaces in namespaces.
    /// Called again it replaces the path, and the flags. Without one the class is global. Throws
    /// `ScriptError` when a part of the path is empty.
    void AddOrModifyNamespace(UTF8String inPath, std::uint32_t inFlags);
    [[nodiscard]] const UTF8String& GetNamespace() const noexcept { return mNamespace; }
    [[nodiscard]] std::uint32_t GetNamespaceFlags() const noexcept { return mNamespaceFlags; }
    /// Namespace and name, with a dot between.
    [[nodiscard]] UTF8String GetPath() const;

    /// Adds an item; it becomes the last component.
    void AddProperty(std::unique_ptr<const ScriptItemDefinitionBase> inItem);
    /// The items, in the order of adding.
    [[nodiscard]] Components::const_iterator ComponentsBegin() const noexcept { return mComponents.begin(); }
    [[nodiscard]] Components::const_iterator ComponentsEnd() const noexcept { return mComponents.end(); }

    /// Declares namespace and items. Called once.
    virtual void DefineObject(ScriptDefinitionContext& ioContext) = 0;
    /// Called for each component afterwards, in order.
    virtual void DefineComponent(ScriptDefinitionContext& ioContext,
                                 const ScriptItemDefinitionBase& inComponent) = 0;
    /// An object for a script that says "new", attached to the script's context; null is an exception there.
    virtual RefPtr<ScriptObject> CreateInstance(const RefPtr<ScriptContext>& inContext) const = 0;
    /// An object that the host makes for a context; null makes `ScriptContext::AddObject` throw.
    virtual RefPtr<ScriptObject> CreateFactoryInstance(const RefPtr<ScriptContext>& inContext) const = 0;

  private:
    UTF8String mName;
    UTF8String mDescription;
    UTF8String mNamespace;
    Components mComponents;
    std::uint32_t mFlags;
    std::uint32_t mNamespaceFlags = 0;
};

}  // namespace nuoscripting
