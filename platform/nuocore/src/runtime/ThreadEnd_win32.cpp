#include "ThreadEnd.h"

// MinGW's C library gives a thread's variables back before it calls their destructors, which then find what
// has been freed.
bool nuocore::runtime::AtThreadEnd(void (* /*inEnd*/)()) noexcept { return false; }
