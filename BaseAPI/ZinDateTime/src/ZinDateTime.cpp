#include "ZinDateTime.h"

#include <pthread.h>

#include <ctime>
#include <mutex>

namespace {

// The C library converts local time under a lock of its own, which a child of
// fork inherits locked when another thread held it at that moment. All
// conversions of this library therefore happen under this lock, and a fork
// waits for it.
std::mutex conversionMutex;

void LockConversion() {
  conversionMutex.lock();
}
void UnlockConversion() {
  conversionMutex.unlock();
}

[[maybe_unused]] const int forkHandlersRegistered =
    pthread_atfork(LockConversion, UnlockConversion, UnlockConversion);

constexpr int firstYearOfTm = 1900;

// Not time(): that reads a coarser clock, which shows the old second for some
// milliseconds after the tick has gone on to the next.
timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

}  // namespace

ZinDateTime ZinDateTime::GetCurrentDateTime() {
  const timespec now = Now();
  std::tm local{};
  {
    const std::lock_guard<std::mutex> lock(conversionMutex);
    localtime_r(&now.tv_sec, &local);
  }
  ZinDateTime result;
  result.year = local.tm_year + firstYearOfTm;
  result.month = local.tm_mon + 1;
  result.day = local.tm_mday;
  result.hour = local.tm_hour;
  result.minute = local.tm_min;
  result.second = local.tm_sec;
  return result;
}

std::uint64_t ZinDateTime::GetCurrentTick() {
  const timespec now = Now();
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}
