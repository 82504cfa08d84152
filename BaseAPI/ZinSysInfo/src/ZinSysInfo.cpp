#include "ZinSysInfo.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fstream>
#include <memory>
#include <string_view>
#include <thread>

namespace {

// The kernel is asked once a thread. A child of fork has one thread, with an id
// of its own. The storage model spares the call that the default one makes at
// every access from a shared library.
[[gnu::tls_model("initial-exec")]] thread_local std::int32_t threadId = 0;  // 0: not asked yet

[[maybe_unused]] const int threadIdHandlerRegistered =
    pthread_atfork(nullptr, nullptr, [] { threadId = 0; });

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
  // No /proc, as in many a chroot: the name that it was started by.
  return shortName.empty() ? program_invocation_short_name : shortName;
}

}  // namespace

const std::string& ZinSysInfo::GetCurrentProcessName() {
  // Never destroyed: threads may still log while the process exits. Not built
  // under the language's lock for such objects: operator new may be the program's
  // own, and log, which needs the name. Of two, the first one stays.
  static constinit std::atomic<const std::string*> known{nullptr};
  const std::string* name = known.load();
  if (name == nullptr) {
    auto read = std::make_unique<const std::string>(ReadProcessName());
    if (known.compare_exchange_strong(name, read.get())) name = read.release();
  }
  return *name;
}

std::int32_t ZinGetProcessId() {
  return getpid();
}

std::int32_t ZinGetThreadId() {
  if (threadId == 0) threadId = static_cast<std::int32_t>(syscall(SYS_gettid));
  return threadId;
}

void ZinSleep(std::uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
