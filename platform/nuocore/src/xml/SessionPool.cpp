#include "SessionPool.h"

namespace nuocore::xml {

SessionPool::SessionPool() {
    for (auto& idle : mIdle) {
        idle.reserve(kMaxIdle);
    }
}

SessionPool& SessionPool::Get() {
    static SessionPool& sPool = *new SessionPool;
    return sPool;
}

std::unique_ptr<SaxSession> SessionPool::Take(bool inNamespaces) {
    {
        const std::lock_guard lock(mMutex);
        auto& idle = mIdle[inNamespaces ? 1 : 0];
        if (!idle.empty()) {
            std::unique_ptr<SaxSession> session = std::move(idle.back());
            idle.pop_back();
            return session;
        }
    }
    return std::make_unique<SaxSession>(inNamespaces);
}

void SessionPool::Give(bool inNamespaces, std::unique_ptr<SaxSession> inSession) noexcept {
    const std::lock_guard lock(mMutex);
    auto& idle = mIdle[inNamespaces ? 1 : 0];
    if (idle.size() < kMaxIdle) {
        idle.push_back(std::move(inSession));
    }
}

}  // namespace nuocore::xml
