// Whether clients find this broker where they look for one, and no other beside it. It is looked at now and
// then, not watched: at the end of a process that has such a watch the system waits for work of its own, on a
// busy machine for seconds, before it closes the other files. So long nobody could tell that a killed broker
// is gone, nor take its lock.
#include <exception>

#include "Server.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::broker {

namespace {

constexpr std::chrono::seconds kLookInterval{1};

}  // namespace

/// False when somebody else has taken the place.
bool Server::KeepPlace() {
    if (mLookAgain > mNow) return true;
    mLookAgain = mNow + kLookInterval;
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
        return true;
    }
}

/// Throws std::exception when what is missing cannot be made.
bool Server::RestorePlace() {
    const std::string trouble = wire::EnsureRuntimeDirectory(mParts.runtimeDirectory, ::geteuid());
    if (!trouble.empty()) throw std::runtime_error(trouble);
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
