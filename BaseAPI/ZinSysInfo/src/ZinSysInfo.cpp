#include "ZinSysInfo.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <climits>
#include <fstream>
#include <string_view>
#include <thread>

namespace {

std::string ReadProcessName() {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
  if (length > 0) {
    std::string_view path(target.data(), static_cast<std::size_t>(length));
    // The kernel marks an executable that was replaced while it runs, as an
    // upgrade does; the service keeps its name.
    constexpr std::string_view replacedMark = " (deleted)";
    if (path.ends_with(replacedMark)) path.remove_suffix(replacedMark.size());
    return std::string(path.substr(path.rfind('/') + 1));
  }
  std::string shortName;
  std::ifstream comm("/proc/self/comm");
  std::getline(comm, shortName);
  return shortName;
}

// Read before the first fork, so that no child inherits a name half read.
[[maybe_unused]] const int forkHandlerRegistered =
    pthread_atfork([] { (void)ZinSysInfo::GetCurrentProcessName(); }, nullptr, nullptr);

}  // namespace

const std::string& ZinSysInfo::GetCurrentProcessName() {
  // Never destroyed: threads may still log while the process exits.
  static const std::string& name = *new std::string(ReadProcessName());
  return name;
}

std::int32_t ZinGetProcessId() {
  return getpid();
}

std::int32_t ZinGetThreadId() {
  return static_cast<std::int32_t>(syscall(SYS_gettid));
}

void ZinSleep(std::uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
