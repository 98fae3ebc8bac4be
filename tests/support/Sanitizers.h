// Which sanitizers this build has.

#pragma once

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitizer = true;
#elif !defined(__has_feature)
inline constexpr bool kThreadSanitizer = false;
#elif __has_feature(thread_sanitizer)
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif
