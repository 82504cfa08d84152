#ifndef ZIN_TEST_SANITIZERS_H
#define ZIN_TEST_SANITIZERS_H

// For what a sanitizer makes impossible, or too slow to be done as often.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZIN_TEST_THREAD_SANITIZER
#endif
#elif defined(__SANITIZE_THREAD__)
#define ZIN_TEST_THREAD_SANITIZER
#endif

#ifdef ZIN_TEST_THREAD_SANITIZER
inline constexpr bool builtWithThreadSanitizer = true;
#else
inline constexpr bool builtWithThreadSanitizer = false;
#endif

#endif  // ZIN_TEST_SANITIZERS_H
