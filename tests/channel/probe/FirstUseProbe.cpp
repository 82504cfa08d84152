#include <cxxabi.h>
#include <dlfcn.h>
#include <printf.h>
#include <pwd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <thread>

#include "Children.h"
#include "Probe.h"
#include "Sanitizers.h"

// first_use_probe account|process-name|record|logger <directory>
//
// Forks while another thread is in the midst of something that happens once in
// a process, or in one thread at a time: what the child inherits half done, it
// can neither finish nor use. The calls of the C library that the library makes
// then are slow here, and so are the formatting of a record and the last step of
// building the logger.

namespace {

std::string slowCall;
std::atomic<bool> isInSlowCall{false};
std::atomic<bool> isAboutToFork{false};

// Stays until the fork is on its way. The fork may wait for the call to return,
// so the call cannot wait for the fork: it gives it time, and a fork that does
// not wait is long done by then.
void BeSlow(const std::string& call) {
  if (call != slowCall || isInSlowCall.exchange(true)) return;
  WaitUntil([] { return isAboutToFork.load(); }, "the fork");
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
}

// As that of the C library: a lock that a child inherits as it is.
std::mutex accountMutex;

// A conversion of this program's own, which prints nothing.
constexpr int slowConversion = 'Y';
int PrintSlowly(FILE*, const printf_info*, const void* const*) {
  BeSlow("record");
  return 0;
}
int TakesNoArgument(const printf_info*, std::size_t, int*, int*) {
  return 0;
}

// With a format that the compiler does not know.
void RecordSlowly(const char* format) {
  using Call = void (ZinLogger::*)(const char*, ...);
  const Call call = &ZinLogger::Metrics;
  (Logger().*call)(format);
}

thread_local bool isBuildingTheLogger = false;

// What the first thread does.
void UseTheSlowCall() {
  if (slowCall == "logger") {
    isBuildingTheLogger = true;
    (void)ZinLogger::GetInstance();
    isBuildingTheLogger = false;
  } else if (slowCall == "record") {
    RecordSlowly("the parent's%Y record");
  } else {
    LogLine("the parent's");
  }
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int getpwnam_r(const char*, passwd*, char*, std::size_t,
                                                      passwd** result) {
  const std::lock_guard<std::mutex> lock(accountMutex);
  BeSlow("account");
  *result = nullptr;
  return 0;
}

__attribute__((visibility("default"))) ssize_t readlink(const char* path, char* target,
                                                        std::size_t size) noexcept {
  BeSlow("process-name");
  return syscall(SYS_readlink, path, target, size);
}

#ifndef ZIN_TEST_THREAD_SANITIZER
// Says that an object that is built on first use is there.
__attribute__((visibility("default"))) void __cxa_guard_release(  // NOLINT: the language's name
    __cxxabiv1::__guard* guard) noexcept {
  if (isBuildingTheLogger) BeSlow("logger");
  using Function = void (*)(__cxxabiv1::__guard*);
  reinterpret_cast<Function>(dlsym(RTLD_NEXT, "__cxa_guard_release"))(guard);
}
#endif
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: first_use_probe account|process-name|record|logger <directory>\n");
    return 2;
  }
  slowCall = argv[1];
  const std::string dir = argv[2];
  Require(register_printf_specifier(slowConversion, PrintSlowly, TakesNoArgument) == 0,
          "no conversion of our own");
  const bool isBuilt = slowCall != "logger";
  if (isBuilt) {
    StartLog(dir);
    StartMetrics(dir);
  }
  std::thread first(UseTheSlowCall);
  WaitUntil([] { return isInSlowCall.load(); }, "the slow call");

  isAboutToFork = true;
  RunInChild("the child", [&] {
    StartLog(dir + "/child");
    StartMetrics(dir + "/child");
    LogLine("the child's");
    Logger().Metrics("the child's record");
    Logger().StopSystem();
  });
  first.join();
  if (!isBuilt) {
    StartLog(dir);
    LogLine("the parent's");
  }
  Logger().StopSystem();
  return 0;
}
