#include "nuoscripting/Definitions.h"

#include <algorithm>
#include <string>
#include <utility>

#include "nuoscripting/Errors.h"
#include "nuoscripting/ScriptObjectDefinition.h"

namespace nuoscripting {

namespace {

std::string Quoted(const UTF8String& inName) { return "\"" + std::string(inName) + "\""; }

}  // namespace

ScriptItemDefinitionBase::ScriptItemDefinitionBase(std::uint32_t inFlags, UTF8String inName,
                                                   PropertyType inResultType,
                                                   std::vector<ParameterType> inParameterTypes, bool inStrict,
                                                   UTF8String inDescription,
                                                   std::uint32_t inSynchronousTimeout)
    : mName(std::move(inName)),
      mDescription(std::move(inDescription)),
      mParameterTypes(std::move(inParameterTypes)),
      mFlags(inFlags),
      mSynchronousTimeout(inSynchronousTimeout),
      mResultType(inResultType),
      mStrict(inStrict) {
    if (mName.empty()) {
        throw ScriptError("cannot define an item without a name");
    }
    if (mParameterTypes.size() > kMaxParameters) {
        throw ScriptError("cannot define " + Quoted(mName) + ": it has more than " +
                          std::to_string(kMaxParameters) + " parameters; take an object instead");
    }
    if (!std::ranges::is_sorted(mParameterTypes, {}, &ParameterType::IsOptional)) {
        throw ScriptError("cannot define " + Quoted(mName) +
                          ": a parameter that may be left out stands before one that may not");
    }
}

ScriptItemDefinitionBase::~ScriptItemDefinitionBase() = default;

std::chrono::milliseconds ScriptItemDefinitionBase::GetSynchronousTimeout() const noexcept {
    return mSynchronousTimeout == 0 ? kDefaultSynchronousTimeout
                                    : std::chrono::milliseconds(mSynchronousTimeout);
}

ScriptDefinitionContext::ScriptDefinitionContext(ScriptObjectDefinitionBase& ioDefinition) noexcept
    : mDefinition(ioDefinition) {}

void ScriptDefinitionContext::AddComponent(const ScriptItemDefinitionBase& inComponent) {
    const auto isSame = [&](const UTF8String* inName) { return *inName == inComponent.GetName(); };
    if (std::ranges::any_of(mNames, isSame)) {
        throw ScriptError("cannot define " + Quoted(mDefinition.GetName()) + ": it has two items named " +
                          Quoted(inComponent.GetName()));
    }
    mNames.push_back(&inComponent.GetName());
}

ScriptObjectDefinitionBase::ScriptObjectDefinitionBase(UTF8String inName, UTF8String inDescription,
                                                       std::uint32_t inFlags)
    : mName(std::move(inName)), mDescription(std::move(inDescription)), mFlags(inFlags) {
    if (mName.empty()) {
        throw ScriptError("cannot define a class without a name");
    }
}

ScriptObjectDefinitionBase::~ScriptObjectDefinitionBase() = default;

void ScriptObjectDefinitionBase::AddOrModifyNamespace(UTF8String inPath, std::uint32_t inFlags) {
    if (inPath.empty() || inPath.front() == '.' || inPath.back() == '.' ||
        inPath.find("..") != UTF8String::npos) {
        throw ScriptError("cannot define " + Quoted(mName) + " in the namespace " + Quoted(inPath) +
                          ": a part of the path is empty");
    }
    mNamespace = std::move(inPath);
    mNamespaceFlags = inFlags;
}

UTF8String ScriptObjectDefinitionBase::GetPath() const {
    return mNamespace.empty() ? mName : mNamespace + "." + mName;
}

void ScriptObjectDefinitionBase::AddProperty(std::unique_ptr<const ScriptItemDefinitionBase> inItem) {
    mComponents.push_back(std::move(inItem));
}

void detail::CheckTypes(const ScriptItemDefinitionBase& inItem, ScriptType inResult,
                        std::span<const std::pair<ScriptType, bool>> inParameters) {
    const auto isSame = [](const ParameterType& inDeclared, const std::pair<ScriptType, bool>& inNative) {
        return inDeclared.GetType() == inNative.first && inDeclared.IsOptional() == inNative.second;
    };
    if (inItem.GetResultType().GetType() != inResult ||
        !std::ranges::equal(inItem.GetParameterTypes(), inParameters, isSame)) {
        throw ScriptError("cannot define " + Quoted(inItem.GetName()) +
                          ": the declared types are not those of the native function");
    }
}

}  // namespace nuoscripting
