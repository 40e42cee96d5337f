/// Marks what leaves the nuoplexasupport library; everything else is hidden.
#pragma once

#if defined(_WIN32)
#if defined(nuoplexasupport_EXPORTS)
#define NUOPLEXASUPPORT_API __declspec(dllexport)
#else
#define NUOPLEXASUPPORT_API __declspec(dllimport)
#endif
#else
#define NUOPLEXASUPPORT_API __attribute__((visibility("default")))
#endif
