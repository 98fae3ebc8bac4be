// The sanitizers of this build.

#pragma once

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr bool kMemorySanitizer = true;  // which takes memory for its checks
#elif !defined(__has_feature)
inline constexpr bool kMemorySanitizer = false;
#else
inline constexpr bool kMemorySanitizer =
    __has_feature(thread_sanitizer) || __has_feature(address_sanitizer);
#endif

// While one exists, a leak checker ignores what its thread allocates.
#if defined(__SANITIZE_ADDRESS__)
#define HAS_LEAK_CHECK
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HAS_LEAK_CHECK
#endif
#endif
#if defined(HAS_LEAK_CHECK)
#include <sanitizer/lsan_interface.h>
using NoLeakCheck = __lsan::ScopedDisabler;
#else
struct [[maybe_unused]] NoLeakCheck {};
#endif
