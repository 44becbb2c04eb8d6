#pragma once

// Whether this test program is built for ThreadSanitizer: the sound server's
// client library is not, so what uses it cannot run under it.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kUnderThreadSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kUnderThreadSanitizer = __has_feature(thread_sanitizer);
#else
inline constexpr bool kUnderThreadSanitizer = false;
#endif
