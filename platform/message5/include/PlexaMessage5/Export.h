/// Marks what leaves the PlexaMessage5 shared library; everything else is hidden.
#pragma once

#if defined(_WIN32)
#if defined(PlexaMessage5_EXPORTS)
#define PLEXA_MESSAGE5_API __declspec(dllexport)
#else
#define PLEXA_MESSAGE5_API __declspec(dllimport)
#endif
#else
#define PLEXA_MESSAGE5_API __attribute__((visibility("default")))
#endif
