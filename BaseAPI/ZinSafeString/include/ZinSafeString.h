// Bounds-checked formatters: printf into a buffer, never beyond its end.
#ifndef ZIN_SAFE_STRING_H
#define ZIN_SAFE_STRING_H

#include <cstdarg>
#include <cstddef>

// Formats into `destination`: at most `count` characters plus a NUL, and never
// more than `destMax` bytes in all.
//
// Returns the number of characters written, without the NUL, or -1:
// - when the output was cut; the characters that fit stand in the buffer
// - when the conversion failed or `format` is null; the buffer holds ""
// - when `destination` is null or `destMax` is 0; nothing is written
//
// Thread-safe; holds no state.
int vsnprintf_s(char* destination, std::size_t destMax, std::size_t count, const char* format,
                std::va_list values) __attribute__((format(printf, 4, 0)));
int snprintf_s(char* destination, std::size_t destMax, std::size_t count, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#endif  // ZIN_SAFE_STRING_H
