#include "LineFormat.h"

#include <cstring>
#include <iterator>
#include <string>

#include "ZinDateTime.h"
#include "ZinSafeString.h"
#include "ZinSysInfo.h"

namespace {

constexpr const char* pathSeparators = "\\/";
constexpr std::uint64_t millisecondsPerSecond = 1000;

const char* LevelName(LogLevel level) {
  const auto index = static_cast<std::size_t>(level);
  return index < std::size(LevelNames) ? LevelNames[index] : "UNKNOWN";
}

int MillisecondOf(std::uint64_t tick) {
  return static_cast<int>(tick % millisecondsPerSecond);
}

}  // namespace

std::int64_t FormatLogHeader(char* buffer, std::uint64_t destMax, std::uint64_t count,
                             LogLevel level, const char* file, std::int32_t line,
                             const char* function, const char* tag) {
  // Deliberate: seconds and milliseconds come from two reads of the clock, so
  // a line on the edge of a second can show the old second with a low fraction.
  const ZinDateTime now = ZinDateTime::GetCurrentDateTime();
  const std::uint64_t tick = ZinDateTime::GetCurrentTick();
  const std::string& process = ZinSysInfo::GetCurrentProcessName();
  const std::int32_t thread = ZinGetThreadId();

  // Deliberate: level names are not padded, so the columns behind them shift.
  return snprintf_s(
      buffer, destMax, count,
      "[%s] [%.4d-%.2d-%.2d %.2d:%.2d:%.2d.%.3d] [%d] [%s]%s[%s:%d] [%s]: ", process.c_str(),
      now.year, now.month, now.day, now.hour, now.minute, now.second, MillisecondOf(tick), thread,
      LevelName(level), tag, BaseFileName(file, pathSeparators), line, function);
}

int FormatFileStamp(char* buffer, std::uint64_t destMax, std::uint64_t count,
                    std::int32_t sequence) {
  const ZinDateTime now = ZinDateTime::GetCurrentDateTime();
  const std::uint64_t tick = ZinDateTime::GetCurrentTick();
  const std::int32_t process = ZinGetProcessId();
  return snprintf_s(buffer, destMax, count, "%.4d%.2d%.2d%.2d%.2d%.2d%.3d-%.3d-%d", now.year,
                    now.month, now.day, now.hour, now.minute, now.second, MillisecondOf(tick),
                    sequence, process);
}

const char* BaseFileName(const char* path, const char* separators) {
  if (path == nullptr || separators == nullptr) return nullptr;
  // Deliberate: position 0 is never examined, so a leading separator is kept.
  for (std::size_t i = std::strlen(path); i > 1; --i) {
    if (std::strchr(separators, path[i - 1]) != nullptr) return path + i;
  }
  return path;
}
