// Annotations that say what a lock guards. Clang checks them (-Wthread-safety); other compilers
// ignore them. They are macros because an attribute cannot be named in any other way.

#pragma once

// Expands to `attribute` for clang and to nothing for other compilers. Only for the macros below.
#if defined(__clang__)
#define FWK_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define FWK_THREAD_ANNOTATION(attribute)
#endif

// Marks a class that is a lock, and a class that holds one from its constructor to its destructor.
#define FWK_CAPABILITY(name) FWK_THREAD_ANNOTATION(capability(name))
#define FWK_SCOPED_CAPABILITY FWK_THREAD_ANNOTATION(scoped_lockable)

// Marks data that may only be accessed while `lock` is held.
#define FWK_GUARDED_BY(lock) FWK_THREAD_ANNOTATION(guarded_by(lock))

// Marks a function that, in this order, takes the lock, takes it shared, releases it, must be
// called with it held, must be called without it, or is not checked (the place must say why).
#define FWK_ACQUIRE(...) FWK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define FWK_ACQUIRE_SHARED(...) FWK_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define FWK_RELEASE(...) FWK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define FWK_REQUIRES(...) FWK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define FWK_EXCLUDES(...) FWK_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define FWK_NO_THREAD_SAFETY_ANALYSIS FWK_THREAD_ANNOTATION(no_thread_safety_analysis)
