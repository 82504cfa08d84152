#include "ZinDateTime.h"

#include <pthread.h>

#include <ctime>
#include <mutex>

#include "ZinForkMutex.h"

namespace {

// The C library converts local time under a lock of its own, which a child of
// fork inherits locked when another thread held it at that moment. All
// conversions of this library therefore happen under this lock, and a fork
// waits for it.
ZinForkMutex conversionMutex;

void LockConversion() {
  conversionMutex.LockForFork();
}
void UnlockConversion() {
  conversionMutex.UnlockAfterFork();
}

[[maybe_unused]] const int forkHandlersRegistered =
    pthread_atfork(LockConversion, UnlockConversion, UnlockConversion);

constexpr int firstYearOfTm = 1900;

// The second that a thread has converted last, and the time zone that it was
// converted in, as the C library's variables show it after a tzset. Daylight
// saving begins and ends on whole seconds.
struct ConvertedSecond {
  std::time_t second = -1;
  long secondsWest = 0;
  int hasDaylightSaving = 0;
  const char* name = nullptr;
  const char* daylightName = nullptr;
  ZinDateTime local;

  bool IsOf(std::time_t now) const {
    return second == now && secondsWest == timezone && hasDaylightSaving == daylight &&
           name == tzname[0] && daylightName == tzname[1];
  }
};

// Not time(): that reads a coarser clock, which shows the old second for some
// milliseconds after the tick has gone on to the next.
timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

ConvertedSecond Convert(std::time_t second) {
  std::tm local{};
  const std::lock_guard lock(conversionMutex);
  localtime_r(&second, &local);
  ConvertedSecond result;
  result.second = second;
  result.secondsWest = timezone;
  result.hasDaylightSaving = daylight;
  result.name = tzname[0];
  result.daylightName = tzname[1];
  result.local.year = local.tm_year + firstYearOfTm;
  result.local.month = local.tm_mon + 1;
  result.local.day = local.tm_mday;
  result.local.hour = local.tm_hour;
  result.local.minute = local.tm_min;
  result.local.second = local.tm_sec;
  return result;
}

}  // namespace

ZinDateTime ZinDateTime::GetCurrentDateTime() {
  // The storage model spares the call that the default one makes at every access
  // from a shared library.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local ConvertedSecond latest;
  const std::time_t now = Now().tv_sec;
  if (!latest.IsOf(now)) latest = Convert(now);
  return latest.local;
}

std::uint64_t ZinDateTime::GetCurrentTick() {
  const timespec now = Now();
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}
