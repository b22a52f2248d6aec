#pragma once

// Lock rules that clang checks at compile time (-Wthread-safety); nothing to other compilers.

#if defined(__clang__)
#define QOLIVE_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QOLIVE_THREAD_ATTRIBUTE(x)
#endif

#define QOLIVE_CAPABILITY(name) QOLIVE_THREAD_ATTRIBUTE(capability(name))
#define QOLIVE_SCOPED_CAPABILITY QOLIVE_THREAD_ATTRIBUTE(scoped_lockable)
#define QOLIVE_GUARDED_BY(lock) QOLIVE_THREAD_ATTRIBUTE(guarded_by(lock))
#define QOLIVE_REQUIRES(...) QOLIVE_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define QOLIVE_REQUIRES_SHARED(...) QOLIVE_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define QOLIVE_EXCLUDES(...) QOLIVE_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define QOLIVE_ACQUIRE(...) QOLIVE_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define QOLIVE_ACQUIRE_SHARED(...) QOLIVE_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define QOLIVE_RELEASE(...) QOLIVE_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define QOLIVE_RELEASE_SHARED(...) QOLIVE_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define QOLIVE_RELEASE_GENERIC(...) QOLIVE_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define QOLIVE_NO_THREAD_SAFETY_ANALYSIS QOLIVE_THREAD_ATTRIBUTE(no_thread_safety_analysis)
