// What the linker calls the functions that FailingCalls.cpp wraps.
//
// With 64-bit offsets, the C library has a function of its own for each call
// that knows an offset; and with 64-bit times on a processor whose times had 32
// bits once, another one for each that knows a time, too.
#ifndef ZIN_TEST_WRAPPED_NAMES_H
#define ZIN_TEST_WRAPPED_NAMES_H

#include <sys/types.h>

#define __real_open __real_open64
#define __wrap_open __wrap_open64
#define __real_readdir __real_readdir64
#define __wrap_readdir __wrap_readdir64

#if __TIMESIZE == 32 && defined(__USE_TIME_BITS64)
#define __real_stat __real___stat64_time64
#define __wrap_stat __wrap___stat64_time64
#define __real_lstat __real___lstat64_time64
#define __wrap_lstat __wrap___lstat64_time64
#else
#define __real_stat __real_stat64
#define __wrap_stat __wrap_stat64
#define __real_lstat __real_lstat64
#define __wrap_lstat __wrap_lstat64
#endif

#endif  // ZIN_TEST_WRAPPED_NAMES_H
