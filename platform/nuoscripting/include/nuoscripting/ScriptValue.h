/// Values on their way between scripts and native methods, and the types that methods declare.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "nuocore/RefCounted.h"
#include "nuocore/Strings.h"
#include "nuocore/Variant.h"
#include "nuoscripting/export.h"

namespace nuoscripting {

using nuocore::RefPtr;
using nuocore::UTF8String;
using nuocore::WeakPtr;
using nuocore::serialization::VariantValue;

/// A function of a script that a method was given. It keeps the function, and what that refers to, from the
/// collector. References may be released on any thread, also after the context has gone.
class NUOSCRIPTING_API ScriptFunction : public nuocore::RefCountedObjectWithWeakPtr {
  public:
    /// Calls the function, on the thread of its context; values travel as `ScriptType::kVariant` does. Throws
    /// `ScriptException`, `ScriptLimitExceeded`, and `ScriptError` on another thread, when the context has
    /// gone, or when an argument or the result can't travel.
    virtual VariantValue Call(const std::vector<VariantValue>& inArguments) = 0;

  protected:
    ~ScriptFunction() override;
};

/// What a parameter or result is for scripts, and its C++ type in a native method.
enum class ScriptType : std::uint8_t {
    kVoid,        ///< no result: `void`
    kBool,        ///< `bool`
    kInt32,       ///< a whole number that fits: `std::int32_t`
    kInt64,       ///< a whole number of at most 2^53 in size: `std::int64_t`
    kDouble,      ///< any number: `double`
    kUTF8String,  ///< text; unpaired surrogates become U+FFFD: `UTF8String`
    kVariant,     ///< whatever JSON can express, taken as `JSON.stringify` would: `VariantValue`
    kFunction,    ///< a function; parameters only: `RefPtr<ScriptFunction>`
};

/// A value of one of these types; `std::monostate` stands for "undefined".
using ScriptValue = std::variant<std::monostate, bool, std::int32_t, std::int64_t, double, UTF8String,
                                 VariantValue, RefPtr<ScriptFunction>>;

/// Which type stands for a C++ type in a method. Not defined for others.
template <typename T>
struct ScriptTypeOf;
template <ScriptType kWhich>
struct ScriptTypeIs {
    static constexpr ScriptType kType = kWhich;
    static constexpr bool kOptional = false;
};
// clang-format off
template <> struct ScriptTypeOf<void> : ScriptTypeIs<ScriptType::kVoid> {};
template <> struct ScriptTypeOf<bool> : ScriptTypeIs<ScriptType::kBool> {};
template <> struct ScriptTypeOf<std::int32_t> : ScriptTypeIs<ScriptType::kInt32> {};
template <> struct ScriptTypeOf<std::int64_t> : ScriptTypeIs<ScriptType::kInt64> {};
template <> struct ScriptTypeOf<double> : ScriptTypeIs<ScriptType::kDouble> {};
template <> struct ScriptTypeOf<UTF8String> : ScriptTypeIs<ScriptType::kUTF8String> {};
template <> struct ScriptTypeOf<VariantValue> : ScriptTypeIs<ScriptType::kVariant> {};
template <> struct ScriptTypeOf<RefPtr<ScriptFunction>> : ScriptTypeIs<ScriptType::kFunction> {};
// clang-format on
template <typename T>
struct ScriptTypeOf<std::optional<T>> : ScriptTypeOf<T> {
    static constexpr bool kOptional = true;
};

/// Type and name of one parameter. An optional one may be left out or "undefined"; its native type is a
/// `std::optional`.
class ParameterType {
  public:
    ParameterType(ScriptType inType, UTF8String inName, bool inOptional = false)
        : mName(std::move(inName)), mType(inType), mOptional(inOptional) {}

    static ParameterType Bool(UTF8String inName) { return {ScriptType::kBool, std::move(inName)}; }
    static ParameterType Int32(UTF8String inName) { return {ScriptType::kInt32, std::move(inName)}; }
    static ParameterType Int64(UTF8String inName) { return {ScriptType::kInt64, std::move(inName)}; }
    static ParameterType Double(UTF8String inName) { return {ScriptType::kDouble, std::move(inName)}; }
    static ParameterType UTF8Text(UTF8String inName) { return {ScriptType::kUTF8String, std::move(inName)}; }
    static ParameterType Variant(UTF8String inName) { return {ScriptType::kVariant, std::move(inName)}; }
    static ParameterType Function(UTF8String inName) { return {ScriptType::kFunction, std::move(inName)}; }
    /// The same parameter, which may be left out.
    [[nodiscard]] ParameterType AsOptional() const { return {mType, mName, true}; }

    [[nodiscard]] ScriptType GetType() const noexcept { return mType; }
    [[nodiscard]] const UTF8String& GetName() const noexcept { return mName; }
    [[nodiscard]] bool IsOptional() const noexcept { return mOptional; }

  private:
    UTF8String mName;
    ScriptType mType;
    bool mOptional;
};

/// Type of a method's result.
class PropertyType {
  public:
    explicit PropertyType(ScriptType inType) noexcept : mType(inType) {}

    static PropertyType Void() noexcept { return PropertyType(ScriptType::kVoid); }
    static PropertyType Bool() noexcept { return PropertyType(ScriptType::kBool); }
    static PropertyType Int32() noexcept { return PropertyType(ScriptType::kInt32); }
    static PropertyType Int64() noexcept { return PropertyType(ScriptType::kInt64); }
    static PropertyType Double() noexcept { return PropertyType(ScriptType::kDouble); }
    static PropertyType UTF8Text() noexcept { return PropertyType(ScriptType::kUTF8String); }
    static PropertyType Variant() noexcept { return PropertyType(ScriptType::kVariant); }

    [[nodiscard]] ScriptType GetType() const noexcept { return mType; }

  private:
    ScriptType mType;
};

}  // namespace nuoscripting
