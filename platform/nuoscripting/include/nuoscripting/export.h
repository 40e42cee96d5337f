/// Marks what leaves the nuoscripting shared library; everything else is hidden.
#pragma once

#if defined(_WIN32)
#if defined(nuoscripting_EXPORTS)
#define NUOSCRIPTING_API __declspec(dllexport)
#else
#define NUOSCRIPTING_API __declspec(dllimport)
#endif
#else
#define NUOSCRIPTING_API __attribute__((visibility("default")))
#endif
