/// Sessions kept from one parse to the next.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <vector>

#include "SaxSession.h"

namespace nuocore::xml {

/// Keeps a few idle sessions, because a fresh expat parser costs about as much as a small document. Any
/// thread.
class SessionPool {
  public:
    /// The pool of this process; never destroyed.
    static SessionPool& Get();

    /// An idle session or a new one. Throws `std::bad_alloc`.
    std::unique_ptr<SaxSession> Take(bool inNamespaces);
    /// Keeps a session for later, or drops it when there are enough.
    void Give(bool inNamespaces, std::unique_ptr<SaxSession> inSession) noexcept;

  private:
    static constexpr std::size_t kMaxIdle = 4;

    std::mutex mMutex;
    std::array<std::vector<std::unique_ptr<SaxSession>>, 2> mIdle;  ///< without and with namespaces

    SessionPool();
};

}  // namespace nuocore::xml
