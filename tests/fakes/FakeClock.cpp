#include "FakeClock.h"

#include <cerrno>
#include <mutex>

#include "RecordedReads.h"

namespace {

std::mutex mutex;
ZinDateTime dateTime{2026, 1, 5, 9, 3, 7};
std::uint64_t tick = 1767603787042;
std::uint64_t tickStep = 0;
int errorOfReads = 0;

}  // namespace

void FakeClock::SetDateTime(int year, int month, int day, int hour, int minute, int second) {
  const std::lock_guard<std::mutex> lock(mutex);
  dateTime = {year, month, day, hour, minute, second};
}

void FakeClock::SetTick(std::uint64_t milliseconds) {
  const std::lock_guard<std::mutex> lock(mutex);
  tick = milliseconds;
}

void FakeClock::SetTickStep(std::uint64_t milliseconds) {
  const std::lock_guard<std::mutex> lock(mutex);
  tickStep = milliseconds;
}

void FakeClock::SetErrorOfReads(int error) {
  const std::lock_guard<std::mutex> lock(mutex);
  errorOfReads = error;
}

ZinDateTime ZinDateTime::GetCurrentDateTime() {
  RecordedReads::Note("date and time");
  const std::lock_guard<std::mutex> lock(mutex);
  if (errorOfReads != 0) errno = errorOfReads;
  return dateTime;
}

std::uint64_t ZinDateTime::GetCurrentTick() {
  RecordedReads::Note("tick");
  const std::lock_guard<std::mutex> lock(mutex);
  const std::uint64_t now = tick;
  tick += tickStep;
  return now;
}
