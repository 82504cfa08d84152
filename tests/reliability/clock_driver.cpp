// clock_driver <directory> <lines>: logs, stops and starts while the time of day
// jumps to and fro. The program stands before the C library's clock_gettime, so
// that only its own process sees the jumps.
#include <dlfcn.h>

#include <cstdlib>
#include <ctime>
#include <thread>

#include "Driver.h"

namespace {
std::atomic<long> offsetSeconds{0};
std::atomic<unsigned long> shifted{0};
}  // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* now) noexcept {
  static const auto real =
      reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_NEXT, "clock_gettime"));
  const int result = real(clock, now);
  if (clock == CLOCK_REALTIME) {
    now->tv_sec += offsetSeconds.load();
    ++shifted;
  }
  return result;
}

int main(int argc, char** argv) {
  Require(argc == 3, "usage: clock_driver <directory> <lines>");
  const auto lines = static_cast<std::uint64_t>(std::atoll(argv[2]));
  LogSettings settings;
  settings.fileSizeMiB = 1;
  std::atomic<bool> isOver{false};
  std::jthread jumps([&] {
    constexpr long day = 86400;
    for (const long jump : {0L, -3600L, 3600L, -1L, 365 * day, -365 * day}) {
      if (isOver) break;
      offsetSeconds = jump;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    while (!isOver) {
      offsetSeconds = offsetSeconds > 0 ? -3600 : 3600;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  std::uint64_t next = 0;
  for (unsigned session = 0; session < 10; ++session) {
    StartLogWith(argv[1], settings);
    for (std::uint64_t i = 0; i < lines / 10; ++i) Emit({0, 0, next++});
    Logger().StopSystem();
    WaitUntil([] { return CountThreads("zin-log-worker") == 0; }, "the worker to end");
  }
  isOver = true;
  jumps.join();
  Require(shifted > 0, "the library does not read this clock");
  return 0;
}
