#include "FormatComparison.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "ZinSafeString.h"

namespace {

constexpr std::size_t margin = 8;  // bytes behind the buffer, which nobody may write to

using Formatter = int(char*, std::size_t, std::size_t, const char*, std::va_list);

int FormatByCLibrary(char* destination, std::size_t destMax, std::size_t count, const char* format,
                     std::va_list values) {
  if (destMax == 0) return -1;
  const std::size_t room = std::min(count, destMax - 1);
  int (*const print)(char*, std::size_t, const char*, std::va_list) = std::vsnprintf;
  const int wanted = print(destination, room + 1, format, values);
  if (wanted < 0) destination[0] = '\0';
  return wanted < 0 || static_cast<std::size_t>(wanted) > room ? -1 : wanted;
}

void Call(Formatter& formatter, CallOutcome& outcome, const CallBounds& bounds, const char* format,
          std::va_list values) {
  outcome.bytes.assign(bounds.destMax + margin, '#');
  errno = bounds.callersErrno;
  outcome.result = formatter(outcome.bytes.data(), bounds.destMax, bounds.count, format, values);
  outcome.error = errno;
}

std::string Readable(const CallOutcome& outcome) {
  std::string text = "result " + std::to_string(outcome.result) + ", errno " +
                     std::to_string(outcome.error) + ", \"";
  for (const char byte : outcome.bytes) {
    if (byte >= ' ' && byte <= '~') {
      text += byte;
      continue;
    }
    char code[8];
    (void)std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(byte));
    text += code;
  }
  return text + '"';
}

}  // namespace

void CallSafeString(CallOutcome& outcome, const CallBounds& bounds, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  Formatter* const formatter = vsnprintf_s;
  Call(*formatter, outcome, bounds, format, values);
  va_end(values);
}

void CallCLibrary(CallOutcome& outcome, const CallBounds& bounds, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  Call(FormatByCLibrary, outcome, bounds, format, values);
  va_end(values);
}

std::string FormatComparison::Describe() const {
  return "vsnprintf_s: " + Readable(ours) + "\nC library:   " + Readable(theirs);
}
