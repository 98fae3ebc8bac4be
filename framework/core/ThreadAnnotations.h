// What a lock guards, in words that clang checks (-Wthread-safety) and other compilers skip.
//
// Macros, because attributes can be spelled in no other way.

#pragma once

// The attribute where clang compiles, nothing elsewhere. For the macros below.
#if defined(__clang__)
#define FWK_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define FWK_THREAD_ANNOTATION(attribute)
#endif

// On a class that is a lock, and on one that holds a lock from its constructor to its destructor.
#define FWK_CAPABILITY(name) FWK_THREAD_ANNOTATION(capability(name))
#define FWK_SCOPED_CAPABILITY FWK_THREAD_ANNOTATION(scoped_lockable)

// On data: touched with the lock held only.
#define FWK_GUARDED_BY(lock) FWK_THREAD_ANNOTATION(guarded_by(lock))

// On functions: takes the lock, takes it shared, gives it back, is called with it held, is called
// without it, is not checked (and says why).
#define FWK_ACQUIRE(...) FWK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define FWK_ACQUIRE_SHARED(...) FWK_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define FWK_RELEASE(...) FWK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define FWK_REQUIRES(...) FWK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define FWK_EXCLUDES(...) FWK_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define FWK_NO_THREAD_SAFETY_ANALYSIS FWK_THREAD_ANNOTATION(no_thread_safety_analysis)
