// The conversions of printf that services use, without the C library's printf.
#ifndef ZIN_PLAIN_FORMAT_H
#define ZIN_PLAIN_FORMAT_H

#include <cstdarg>
#include <cstddef>

inline constexpr int notPlain = -1;

// Writes what std::vsnprintf would, and a NUL behind it, when all of it fits into
// `room` characters and all of `format` is in this table:
//
//   conversion         lengths          flags  not with
//   text, %%
//   %s                                  -      a null pointer
//   %c                                  -      a precision
//   %d %i %u %x %X %o  hh h l ll j z t  - 0
//   %p                                  -      a null pointer, a precision
//   %f %F              l                - 0    infinity, NaN, 2^64 and beyond; a
//                                              precision above 17; a point that is not
//                                              '.'; another rounding than to nearest;
//                                              processors of 32 bits
//
// Width and precision have up to four digits or are *. Not here, because the C library
// is no slower: %e, %g, %a.
//
// Returns the number of characters. Or notPlain, when it met something else or `room`
// is too small: then std::vsnprintf has to do it from the start, since what is left of
// a text that is cut, what is wrong with a format and what errno says are its business.
// The first `room` + 1 bytes may have been written to; `values` is as it was.
//
// Thread-safe; holds no state, needs no memory, leaves errno alone.
int FormatPlainly(char* destination, std::size_t room, const char* format, std::va_list values)
    __attribute__((format(printf, 3, 0)));

#endif  // ZIN_PLAIN_FORMAT_H
