#include "Instances.h"

#include <algorithm>
#include <utility>

#include "../HostFailure.h"
#include "Classes.h"

namespace nuoscripting::engine {

Instances::Instances(JSGlobalContextRef inContext) : mContext(inContext) {
    JSContextGroupAddHeapFinalizer(JSContextGetGroup(mContext), &OnCollected, this);
}

JSObjectRef Instances::Make(ClassInfo& inClass, RefPtr<ScriptObject> inObject) {
    JSObjectRef object = JSObjectMake(mContext, nullptr, nullptr);
    JSObjectSetPrototype(mContext, object, inClass.mPrototype);
    JSContextGroupRef group = JSContextGetGroup(mContext);
    mInfos.push_front(
        {inClass, std::move(inObject), object, {JSWeakCreate(group, object), ReleaseWeak{group}}});
    const auto info = mInfos.begin();
    try {
        const auto [known, isNew] = mKnown.try_emplace(object, info);
        if (!isNew) {  // the object that had the address is lost
            mLost.splice(mLost.begin(), mInfos, std::exchange(known->second, info));
        }
    } catch (...) {
        mInfos.pop_front();
        throw;
    }
    return object;
}

std::size_t Instances::GetNativeMemory() const noexcept {
    return kNativeBytes * static_cast<std::size_t>(std::ranges::count_if(mInfos, &InstanceInfo::IsHeld));
}

void Instances::ReleaseLost() noexcept {
    if (!mHasCollected.exchange(false)) {
        return;
    }
    Infos lost = std::move(mLost);
    for (auto next = mInfos.begin(); next != mInfos.end();) {
        const auto info = next++;
        if (!info->IsHeld()) {
            mKnown.erase(info->mAddress);
            lost.splice(lost.begin(), mInfos, info);
        }
    }
    for (const InstanceInfo& info : lost) {
        try {
            info.mObject->Finalize();
        } catch (...) {
            detail::LogHostFailure("The end of a script's object");
        }
    }
}

void Instances::Lose() noexcept {
    JSContextGroupRemoveHeapFinalizer(JSContextGetGroup(mContext), &OnCollected, this);
    mKnown.clear();
    mLost.splice(mLost.begin(), mInfos);
    for (InstanceInfo& info : mLost) {
        info.mIsHeld.reset();
    }
    mHasCollected = true;
}

void Instances::OnCollected(JSContextGroupRef /*inGroup*/, void* inThis) {
    static_cast<Instances*>(inThis)->mHasCollected = true;
}

}  // namespace nuoscripting::engine
