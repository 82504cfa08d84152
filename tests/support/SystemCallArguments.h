#ifndef ZIN_TEST_SYSTEM_CALL_ARGUMENTS_H
#define ZIN_TEST_SYSTEM_CALL_ARGUMENTS_H

#include <array>
#include <cstdarg>

// For what stands in the place of syscall(), through which the library writes:
// the six arguments that a system call may have. Those that the caller did not
// pass are whatever the registers hold, as for syscall() itself.
inline std::array<long, 6> SystemCallArguments(std::va_list list) {
  std::array<long, 6> values{};
  for (long& value : values) value = va_arg(list, long);
  return values;
}

#endif  // ZIN_TEST_SYSTEM_CALL_ARGUMENTS_H
