// A library that is loaded, adds a termination and is given back.
#include <cstdio>

#include "nuocore/Singleton.h"

extern "C" __attribute__((visibility("default"))) void AddsTermination() {
    nuocore::singleton::AddTerminationForSingleton("of a library",
                                                   [] { (void)std::fputs("still there\n", stderr); });
}
