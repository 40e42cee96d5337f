/// Definitions of classes by their C++ type.
#pragma once

#include <array>
#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

#include "nuoscripting/Definitions.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting {

namespace detail {

// An argument as the native method takes it.
template <typename T>
struct TakeArgument {
    static T From(ScriptValue& ioValue) { return std::get<T>(std::move(ioValue)); }
};
template <typename T>
struct TakeArgument<std::optional<T>> {
    static std::optional<T> From(ScriptValue& ioValue) {
        if (std::holds_alternative<std::monostate>(ioValue)) {
            return std::nullopt;
        }
        return std::get<T>(std::move(ioValue));
    }
};

NUOSCRIPTING_API void CheckTypes(const ScriptItemDefinitionBase& inItem, ScriptType inResult,
                                 std::span<const std::pair<ScriptType, bool>> inParameters);

}  // namespace detail

/// A method that is a member function of `T`. Its parameters may be references to constants.
template <typename T, typename Result, typename... Arguments>
class ScriptMethodDefinition final : public ScriptItemDefinitionBase {
  public:
    using Native = Result (T::*)(Arguments...);

    /// Throws `ScriptError` also when the declared types aren't those of the function.
    ScriptMethodDefinition(UTF8String inName, std::vector<ParameterType> inParameterTypes,
                           PropertyType inResultType, Native inNative, bool inStrict, std::uint32_t inFlags,
                           UTF8String inDescription, std::uint32_t inSynchronousTimeout)
        : ScriptItemDefinitionBase(inFlags, std::move(inName), inResultType, std::move(inParameterTypes),
                                   inStrict, std::move(inDescription), inSynchronousTimeout),
          mNative(inNative) {
        const std::array<std::pair<ScriptType, bool>, sizeof...(Arguments)> types = {
            {{ScriptTypeOf<std::decay_t<Arguments>>::kType,
              ScriptTypeOf<std::decay_t<Arguments>>::kOptional}...}};
        detail::CheckTypes(*this, ScriptTypeOf<Result>::kType, types);
    }

    ScriptValue Invoke(ScriptObject& ioObject, std::span<ScriptValue> ioArguments) const override {
        return Invoke(static_cast<T&>(ioObject), ioArguments, std::index_sequence_for<Arguments...>());
    }

  private:
    template <std::size_t... kIndex>
    ScriptValue Invoke(T& ioObject, [[maybe_unused]] std::span<ScriptValue> ioArguments,
                       std::index_sequence<kIndex...> /*inIndices*/) const {
        if constexpr (std::is_void_v<Result>) {
            (ioObject.*mNative)(detail::TakeArgument<std::decay_t<Arguments>>::From(ioArguments[kIndex])...);
            return {};
        } else {
            return (ioObject.*
                    mNative)(detail::TakeArgument<std::decay_t<Arguments>>::From(ioArguments[kIndex])...);
        }
    }

    Native mNative;
};

/// The definition of the class `T`, a default-constructible `ScriptObject`. Hosts supply what is the class's
/// own, as an explicit specialisation, before they make a definition:
///
///     template <>
///     void ScriptObjectDefinition<Counter>::DefineObject(ScriptDefinitionContext&) {
///         AddOrModifyNamespace("example", kNamespaceFlag_Enumerable);
///         AddMethod("add", {ParameterType::Int32("amount")}, PropertyType::Int32(), &Counter::Add, true,
///                   kItemFlag_Enumerable, "Adds to the counter", 0);
///     }
template <typename T>
class ScriptObjectDefinition : public ScriptObjectDefinitionBase {
  public:
    static_assert(std::is_base_of_v<ScriptObject, T>);
    using ScriptObjectDefinitionBase::ScriptObjectDefinitionBase;

    void DefineObject(ScriptDefinitionContext& ioContext) override;
    void DefineComponent(ScriptDefinitionContext& ioContext,
                         const ScriptItemDefinitionBase& inComponent) override {
        ioContext.AddComponent(inComponent);
    }
    RefPtr<ScriptObject> CreateInstance(const RefPtr<ScriptContext>& inContext) const override {
        return Create(inContext);
    }
    RefPtr<ScriptObject> CreateFactoryInstance(const RefPtr<ScriptContext>& inContext) const override {
        return Create(inContext);
    }

    /// Declares a method; parameters as those of `ScriptItemDefinitionBase`.
    template <typename Result, typename... Arguments>
    void AddMethod(UTF8String inName, std::vector<ParameterType> inParameterTypes, PropertyType inResultType,
                   Result (T::*inNative)(Arguments...), bool inStrict, std::uint32_t inFlags,
                   UTF8String inDescription, std::uint32_t inSynchronousTimeout) {
        AddProperty(std::make_unique<ScriptMethodDefinition<T, Result, Arguments...>>(
            std::move(inName), std::move(inParameterTypes), inResultType, inNative, inStrict, inFlags,
            std::move(inDescription), inSynchronousTimeout));
    }

  private:
    static RefPtr<ScriptObject> Create(const RefPtr<ScriptContext>& inContext) {
        RefPtr<ScriptObject> object(new T);
        object->SetContext(inContext);
        return object;
    }
};

}  // namespace nuoscripting
