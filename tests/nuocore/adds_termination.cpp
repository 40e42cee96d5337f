// A library that is loaded, adds a termination and is given back.
#include <cstdio>

#include "nuocore/Singleton.h"

#if defined(_WIN32)
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __attribute__((visibility("default")))
#endif

extern "C" EXPORTED void AddsTermination() {
    nuocore::singleton::AddTerminationForSingleton("of a library",
                                                   [] { (void)std::fputs("still there\n", stderr); });
}
