// Whether clients find this broker where they look for one, and no other beside it.
#include <exception>

#include "Server.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::broker {

namespace {

/// How often to look when nobody tells of changes, or when what was tried did not work.
constexpr std::chrono::seconds kLookInterval{1};

}  // namespace

/// False when somebody else has taken the place.
bool Server::KeepPlace() {
    if (!mPlaceChanged && !(mLookAgain && *mLookAgain <= mNow)) return true;
    mPlaceChanged = false;
    mLookAgain.reset();
    if (mPlaceWatch.Descriptor() >= 0) mPlaceWatch.Drain();
    try {
        const bool ours = RestorePlace();
        mPlaceTrouble.clear();
        return ours;
    } catch (const std::exception& error) {
        // Those who are connected are served on; nobody else finds this broker meanwhile.
        if (mPlaceTrouble != error.what()) {
            mPlaceTrouble = error.what();
            mLog.error("clients cannot find this broker: {}; trying again", mPlaceTrouble);
        }
        mLookAgain = mNow + kLookInterval;
        return true;
    }
}

/// Throws std::exception when what is missing cannot be made.
bool Server::RestorePlace() {
    const std::string trouble = wire::EnsureRuntimeDirectory(mParts.runtimeDirectory, ::geteuid());
    if (!trouble.empty()) throw std::runtime_error(trouble);
    // Watched before it is looked at, so that no change is missed.
    if (!mPlaceWatch.Begin(mParts.runtimeDirectory)) mLookAgain = mNow + kLookInterval;
    if (!mParts.members.InPlace()) {
        if (!mParts.members.MakeAnew()) return false;
        mLog.warn("the members file was taken away and is made anew");
    }
    if (!mParts.listener.InPlace()) {
        if (Listener::IsServed(wire::RuntimePath(mParts.runtimeDirectory, wire::kSocketName))) return false;
        ReplaceListener();
        mLog.warn("the socket was taken away and is made anew");
    }
    return true;
}

}  // namespace orvane::plexa::broker
