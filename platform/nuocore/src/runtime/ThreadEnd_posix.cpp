#include <pthread.h>

#include <optional>

#include "ThreadEnd.h"

namespace nuocore::runtime {

namespace {

void Call(void* inEnd) { reinterpret_cast<void (*)()>(inEnd)(); }

std::optional<pthread_key_t> MakeKey() noexcept {
    pthread_key_t key{};
    if (::pthread_key_create(&key, &Call) != 0) return std::nullopt;
    return key;
}

}  // namespace

// No destructor of a thread's variable: to register that takes the loader's lock, which is held while the
// code of a library runs that comes or goes. That code may wait for a lock that the calling thread has.
bool AtThreadEnd(void (*inEnd)()) noexcept {
    static const std::optional<pthread_key_t> sKey = MakeKey();
    return sKey && ::pthread_setspecific(*sKey, reinterpret_cast<void*>(inEnd)) == 0;
}

}  // namespace nuocore::runtime
