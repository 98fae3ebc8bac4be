// Which sanitizers this build has.

#pragma once

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr bool kMemorySanitizer = true;  // memory is taken for what is looked at
#elif !defined(__has_feature)
inline constexpr bool kMemorySanitizer = false;
#else
inline constexpr bool kMemorySanitizer =
    __has_feature(thread_sanitizer) || __has_feature(address_sanitizer);
#endif
