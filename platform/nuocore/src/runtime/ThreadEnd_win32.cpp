#include "ThreadEnd.h"

namespace nuocore::runtime {

namespace {

struct End {
    End() = default;
    End(const End&) = delete;
    End& operator=(const End&) = delete;
    ~End() {
        if (mCall != nullptr) mCall();
    }
    void (*mCall)() = nullptr;
};

thread_local End sEnd;

}  // namespace

bool AtThreadEnd(void (*inEnd)()) noexcept {
    sEnd.mCall = inEnd;
    return true;
}

}  // namespace nuocore::runtime
