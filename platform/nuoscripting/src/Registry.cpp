#include "nuoscripting/Registry.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "LibraryPin.h"
#include "nuoscripting/Errors.h"

namespace nuoscripting {

ScriptObjectDefinitionInitiatorBase::~ScriptObjectDefinitionInitiatorBase() = default;

ScriptObjectDefinitionRegistrar::ScriptObjectDefinitionRegistrar(
    std::unique_ptr<ScriptObjectDefinitionInitiatorBase> inInitiator)
    : mInitiator(std::move(inInitiator)) {
    ScriptDefinitions::GetInstance().Register(*mInitiator, this);
}

ScriptObjectDefinitionRegistrar::~ScriptObjectDefinitionRegistrar() {
    ScriptDefinitions::GetInstance().Unregister(this);
}

ScriptDefinitions& ScriptDefinitions::GetInstance() {
    // Never destroyed: libraries take their definitions back until the very end of the process.
    static auto* const sInstance = new ScriptDefinitions;
    return *sInstance;
}

void ScriptDefinitions::Register(ScriptObjectDefinitionInitiatorBase& ioInitiator, const void* inOwner) {
    const std::lock_guard lock(mLock);
    mRegistrations.push_back({&ioInitiator, inOwner, false});
    ++mChanges;
}

void ScriptDefinitions::Unregister(const void* inOwner) {
    std::vector<Entry> taken;  // goes after the lock: ends definitions
    const std::lock_guard lock(mLock);
    std::erase_if(mRegistrations, [&](const Registration& inOne) { return inOne.mOwner == inOwner; });
    const auto first = std::stable_partition(mEntries.begin(), mEntries.end(),
                                             [&](const Entry& inOne) { return inOne.mOwner != inOwner; });
    taken.assign(std::make_move_iterator(first), std::make_move_iterator(mEntries.end()));
    mEntries.erase(first, mEntries.end());
    ++mChanges;
}

void ScriptDefinitions::AddObjectDefinition(std::string_view inName,
                                            std::shared_ptr<ScriptObjectDefinitionBase> inDefinition) {
    const std::lock_guard lock(mLock);
    const auto collides = [&](const Entry& inOne) {
        return inOne.mName == inName || inOne.mDefinition->GetPath() == inDefinition->GetPath();
    };
    ScriptDefinitionContext context(*inDefinition);
    inDefinition->DefineObject(context);
    for (auto component = inDefinition->ComponentsBegin(); component != inDefinition->ComponentsEnd();
         ++component) {
        inDefinition->DefineComponent(context, **component);
    }
    if (std::ranges::any_of(mEntries, collides)) {
        throw ScriptError("cannot define the class \"" + std::string(inName) +
                          "\": there is one of that name already");
    }
    mEntries.push_back({UTF8String(inName), std::move(inDefinition), mCurrentOwner});
}

void ScriptDefinitions::InitiateLocked() {
    for (Registration& registration : mRegistrations) {
        if (registration.mIsDone) {
            continue;
        }
        mCurrentOwner = registration.mOwner;
        const auto before = static_cast<std::ptrdiff_t>(mEntries.size());
        try {
            registration.mInitiator->Initiate(*this);
        } catch (...) {
            mCurrentOwner = nullptr;
            mEntries.erase(mEntries.begin() + before, mEntries.end());
            throw;
        }
        mCurrentOwner = nullptr;
        registration.mIsDone = true;
    }
}

std::vector<ScriptDefinitions::DefinitionPtr> ScriptDefinitions::GetObjectDefinitions() {
    const std::lock_guard lock(mLock);
    InitiateLocked();
    std::vector<DefinitionPtr> definitions;
    for (const Entry& entry : mEntries) {
        definitions.push_back(entry.mDefinition);
    }
    return definitions;
}

ScriptDefinitions::DefinitionPtr ScriptDefinitions::FindObjectDefinition(std::string_view inName) {
    const std::lock_guard lock(mLock);
    InitiateLocked();
    const auto found = std::ranges::find(mEntries, inName, &Entry::mName);
    return found == mEntries.end() ? nullptr : found->mDefinition;
}

std::vector<ScriptDefinitions::Pinned> ScriptDefinitions::PinObjectDefinitions() {
    // A library that comes or goes holds the loader's lock and waits for ours, so ours isn't held while the
    // loader is asked. What the loader says counts when no library came or went meanwhile.
    for (;;) {
        std::map<const void*, std::shared_ptr<void>> libraries;
        std::uint64_t changes = 0;
        {
            const std::lock_guard lock(mLock);
            InitiateLocked();
            changes = mChanges;
            for (const Entry& entry : mEntries) {
                libraries.try_emplace(entry.mOwner);
            }
        }
        for (auto& [owner, library] : libraries) {
            library = detail::PinLibraryOf(owner);
        }
        const std::lock_guard lock(mLock);
        if (changes != mChanges) {
            continue;
        }
        std::vector<Pinned> definitions;
        for (const Entry& entry : mEntries) {
            definitions.push_back({libraries[entry.mOwner], entry.mDefinition, entry.mName});
        }
        return definitions;
    }
}

}  // namespace nuoscripting
