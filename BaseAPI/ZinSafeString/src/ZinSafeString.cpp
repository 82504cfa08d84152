#include "ZinSafeString.h"

#include <algorithm>
#include <cstdio>

#include "PlainFormat.h"

int vsnprintf_s(char* destination, std::size_t destMax, std::size_t count, const char* format,
                std::va_list values) {
  if (destination == nullptr || destMax == 0) return -1;
  destination[0] = '\0';
  if (format == nullptr) return -1;

  const std::size_t room = std::min(count, destMax - 1);
  // The usual conversions in a fraction of the C library's time, which is half of
  // what a log call takes.
  const int plain = FormatPlainly(destination, room, format, values);
  if (plain != notPlain) return plain;
  const int wanted = std::vsnprintf(destination, room + 1, format, values);
  if (wanted < 0) {
    // The C library leaves whatever it had converted so far.
    destination[0] = '\0';
    return -1;
  }
  return static_cast<std::size_t>(wanted) > room ? -1 : wanted;
}

int snprintf_s(char* destination, std::size_t destMax, std::size_t count, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const int written = vsnprintf_s(destination, destMax, count, format, values);
  va_end(values);
  return written;
}
