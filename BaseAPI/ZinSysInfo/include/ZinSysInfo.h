// Who is running: process name, process and thread id; and a sleep.
#ifndef ZIN_SYS_INFO_H
#define ZIN_SYS_INFO_H

#include <cstdint>
#include <string>

class ZinSysInfo {
 public:
  // Base name of the executable, read once: of the link /proc/self/exe, or the
  // kernel's short name of the process when that cannot be read, or the base
  // name that the process was started by where there is no /proc. Valid until
  // the process ends. Thread-safe.
  static const std::string& GetCurrentProcessName();
};

// Ids as the kernel shows them (ps, top -H); right in a child of fork, too.
std::int32_t ZinGetProcessId();
std::int32_t ZinGetThreadId();

// Blocks the calling thread for that many milliseconds, signals or not.
void ZinSleep(std::uint32_t milliseconds);

#endif  // ZIN_SYS_INFO_H
