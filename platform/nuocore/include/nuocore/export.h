/// Marks what leaves the nuocore shared library; everything else is hidden.
#pragma once

#if defined(_WIN32)
#if defined(nuocore_EXPORTS)
#define NUOCORE_API __declspec(dllexport)
#else
#define NUOCORE_API __declspec(dllimport)
#endif
#else
#define NUOCORE_API __attribute__((visibility("default")))
#endif
