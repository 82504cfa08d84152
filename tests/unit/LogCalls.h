#ifndef ZIN_TEST_LOG_CALLS_H
#define ZIN_TEST_LOG_CALLS_H

#include <string>

#include "ZinLogger.h"

// Log calls from one fixed place, as the faked siblings' process makes them:
// every byte of the line is known.

// What stands before the message of a line at INFO.
inline const std::string infoHeader =
    "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [alpha_unit:12] [Work]: ";

inline void LogText(LogLevel level, const std::string& text, const char* subDirKey = "") {
  ZinLogger::GetInstance()->Log("src/alpha_unit", 12, "Work", " ", subDirKey, level, "%s",
                                text.c_str());
}

// With a format that the compiler would reject in a call of its own.
template <typename... Values>
void LogUnchecked(LogLevel level, const char* format, Values... values) {
  using Call = void (ZinLogger::*)(const char*, int, const char*, const char*, const char*,
                                   LogLevel, const char*, ...);
  const Call call = &ZinLogger::Log;
  (ZinLogger::GetInstance()->*call)("src/alpha_unit", 12, "Work", " ", "", level, format,
                                    values...);
}

template <typename... Values>
void MetricsUnchecked(const char* format, Values... values) {
  using Call = void (ZinLogger::*)(const char*, ...);
  const Call call = &ZinLogger::Metrics;
  (ZinLogger::GetInstance()->*call)(format, values...);
}

// Takes everything out of the cache of recent lines.
inline std::string TakeCachedLines() {
  std::string lines = ZinGetCacheLog(10000);
  ZinClearLastLog(true);
  return lines;
}

#endif  // ZIN_TEST_LOG_CALLS_H
