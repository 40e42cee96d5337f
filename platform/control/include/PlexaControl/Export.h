/// Marks what leaves the PlexaControl shared library; everything else is hidden.
#pragma once

#if defined(_WIN32)
#if defined(PlexaControl_EXPORTS)
#define PLEXA_CONTROL_API __declspec(dllexport)
#else
#define PLEXA_CONTROL_API __declspec(dllimport)
#endif
#else
#define PLEXA_CONTROL_API __attribute__((visibility("default")))
#endif
