#ifndef ZIN_TEST_SANITIZERS_H
#define ZIN_TEST_SANITIZERS_H

// For what a sanitizer makes impossible, or too slow to be done as often.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZIN_TEST_THREAD_SANITIZER
#endif
#if __has_feature(address_sanitizer)
#define ZIN_TEST_ADDRESS_SANITIZER
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define ZIN_TEST_THREAD_SANITIZER
#endif
#if defined(__SANITIZE_ADDRESS__)
#define ZIN_TEST_ADDRESS_SANITIZER
#endif

#ifdef ZIN_TEST_THREAD_SANITIZER
inline constexpr bool builtWithThreadSanitizer = true;
#else
inline constexpr bool builtWithThreadSanitizer = false;
#endif

#ifdef ZIN_TEST_ADDRESS_SANITIZER
inline constexpr bool builtWithAddressSanitizer = true;
#else
inline constexpr bool builtWithAddressSanitizer = false;
#endif

// Their runtimes allocate memory under locks of their own, which a child of fork
// inherits locked when another thread was in there.
inline constexpr bool sanitizerLocksReachChildren =
    builtWithThreadSanitizer || builtWithAddressSanitizer;

#endif  // ZIN_TEST_SANITIZERS_H
