/// Clang's thread safety annotations; empty for other compilers.
#pragma once

#if defined(__clang__)
#define NUOCORE_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define NUOCORE_THREAD_ANNOTATION(x)
#endif

#define NUOCORE_CAPABILITY(x) NUOCORE_THREAD_ANNOTATION(capability(x))
#define NUOCORE_SCOPED_CAPABILITY NUOCORE_THREAD_ANNOTATION(scoped_lockable)
#define NUOCORE_GUARDED_BY(x) NUOCORE_THREAD_ANNOTATION(guarded_by(x))
#define NUOCORE_REQUIRES(...) NUOCORE_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define NUOCORE_ACQUIRE(...) NUOCORE_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define NUOCORE_RELEASE(...) NUOCORE_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
