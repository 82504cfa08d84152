// Macros for the calls of ZinLogger.h: they fill in file, line and function.
//
//   #include <ZinLoggerMacros.h>
//
//   int main(int argc, char**) {
//     const ZinStopAtScopeEnd stop;
//     if (!ZinLogger::GetInstance()->StartSystem("app.log", "./logs", 5, 10, INFO, 100000, true))
//       return 1;
//     ZIN_INFO("listening on port %d", 8080);
//     ZIN_WARN_IF(argc > 1, "%d arguments are ignored", argc - 1);
//     ZIN_INFO_EVERY_MS(1000, "still here");
//     return 0;
//   }
//
// What they are: one call of ZinLogger::Log each, with the compiler's check of
// the format. Each is a statement and may stand alone after an if; its other
// arguments are evaluated once.
//
// What they cannot do: spare a call below the threshold its arguments. The
// logger tells nobody its level, so the arguments are evaluated, and the call
// itself then returns. Only those of ..._IF, ..._EVERY_N and ..._EVERY_MS are
// left alone when the line is not due.
//
// All names begin with ZIN_ or Zin. Levels are named by number inside, so the
// macros work where DEBUG or ERROR is a macro of the program. C++11 and later;
// header only.
#ifndef ZIN_LOGGER_MACROS_H
#define ZIN_LOGGER_MACROS_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>

#include "ZinLogger.h"

// ---- Any level -------------------------------------------------------------

// ZIN_LOG(level, tag, subDirKey, format, ...): what the others are made of.
#define ZIN_LOG(level, tag, subDirKey, ...)                                                \
  ZinLogger::GetInstance()->Log(__FILE__, __LINE__, __func__, (tag), (subDirKey), (level), \
                                __VA_ARGS__)

// ZIN_LOG_IF(level, condition, format, ...): a line if the condition holds.
#define ZIN_LOG_IF(level, condition, ...)                  \
  do {                                                     \
    if (condition) ZIN_LOG((level), " ", "", __VA_ARGS__); \
  } while (false)

// ZIN_LOG_EVERY_N(level, n, format, ...): the first call that comes here, and
// every n-th after it, from whatever threads. 0 never logs.
#define ZIN_LOG_EVERY_N(level, n, ...)                                \
  do {                                                                \
    static ZinEveryNth zinEveryNth;                                   \
    if (zinEveryNth.IsDue(n)) ZIN_LOG((level), " ", "", __VA_ARGS__); \
  } while (false)

// ZIN_LOG_EVERY_MS(level, milliseconds, format, ...): the first call that comes
// here, and then at most one per interval, from whatever threads.
#define ZIN_LOG_EVERY_MS(level, milliseconds, ...)                                      \
  do {                                                                                  \
    static ZinOncePerInterval zinOncePerInterval;                                       \
    if (zinOncePerInterval.IsDue(milliseconds)) ZIN_LOG((level), " ", "", __VA_ARGS__); \
  } while (false)

// ---- By level --------------------------------------------------------------
//
// ZIN_INFO(format, ...)                      a line
// ZIN_INFO_TO(subDirKey, format, ...)        a line to the file of a sub-directory
// ZIN_INFO_TAG(tag, format, ...)             a line with a tag
// ZIN_INFO_IF(condition, format, ...)        a line if the condition holds
// ZIN_INFO_EVERY_N(n, format, ...)           a line every n-th time
// ZIN_INFO_EVERY_MS(milliseconds, format, ...)  a line at most once per interval

#define ZIN_LEVEL_FATAL static_cast<LogLevel>(0)
#define ZIN_LEVEL_ERROR static_cast<LogLevel>(1)
#define ZIN_LEVEL_WARN static_cast<LogLevel>(2)
#define ZIN_LEVEL_INFO static_cast<LogLevel>(3)
#define ZIN_LEVEL_DEBUG static_cast<LogLevel>(4)

#define ZIN_FATAL(...) ZIN_LOG(ZIN_LEVEL_FATAL, " ", "", __VA_ARGS__)
#define ZIN_FATAL_TO(subDirKey, ...) ZIN_LOG(ZIN_LEVEL_FATAL, " ", subDirKey, __VA_ARGS__)
#define ZIN_FATAL_TAG(tag, ...) ZIN_LOG(ZIN_LEVEL_FATAL, tag, "", __VA_ARGS__)
#define ZIN_FATAL_IF(condition, ...) ZIN_LOG_IF(ZIN_LEVEL_FATAL, condition, __VA_ARGS__)
#define ZIN_FATAL_EVERY_N(n, ...) ZIN_LOG_EVERY_N(ZIN_LEVEL_FATAL, n, __VA_ARGS__)
#define ZIN_FATAL_EVERY_MS(milliseconds, ...) \
  ZIN_LOG_EVERY_MS(ZIN_LEVEL_FATAL, milliseconds, __VA_ARGS__)

#define ZIN_ERROR(...) ZIN_LOG(ZIN_LEVEL_ERROR, " ", "", __VA_ARGS__)
#define ZIN_ERROR_TO(subDirKey, ...) ZIN_LOG(ZIN_LEVEL_ERROR, " ", subDirKey, __VA_ARGS__)
#define ZIN_ERROR_TAG(tag, ...) ZIN_LOG(ZIN_LEVEL_ERROR, tag, "", __VA_ARGS__)
#define ZIN_ERROR_IF(condition, ...) ZIN_LOG_IF(ZIN_LEVEL_ERROR, condition, __VA_ARGS__)
#define ZIN_ERROR_EVERY_N(n, ...) ZIN_LOG_EVERY_N(ZIN_LEVEL_ERROR, n, __VA_ARGS__)
#define ZIN_ERROR_EVERY_MS(milliseconds, ...) \
  ZIN_LOG_EVERY_MS(ZIN_LEVEL_ERROR, milliseconds, __VA_ARGS__)

#define ZIN_WARN(...) ZIN_LOG(ZIN_LEVEL_WARN, " ", "", __VA_ARGS__)
#define ZIN_WARN_TO(subDirKey, ...) ZIN_LOG(ZIN_LEVEL_WARN, " ", subDirKey, __VA_ARGS__)
#define ZIN_WARN_TAG(tag, ...) ZIN_LOG(ZIN_LEVEL_WARN, tag, "", __VA_ARGS__)
#define ZIN_WARN_IF(condition, ...) ZIN_LOG_IF(ZIN_LEVEL_WARN, condition, __VA_ARGS__)
#define ZIN_WARN_EVERY_N(n, ...) ZIN_LOG_EVERY_N(ZIN_LEVEL_WARN, n, __VA_ARGS__)
#define ZIN_WARN_EVERY_MS(milliseconds, ...) \
  ZIN_LOG_EVERY_MS(ZIN_LEVEL_WARN, milliseconds, __VA_ARGS__)

#define ZIN_INFO(...) ZIN_LOG(ZIN_LEVEL_INFO, " ", "", __VA_ARGS__)
#define ZIN_INFO_TO(subDirKey, ...) ZIN_LOG(ZIN_LEVEL_INFO, " ", subDirKey, __VA_ARGS__)
#define ZIN_INFO_TAG(tag, ...) ZIN_LOG(ZIN_LEVEL_INFO, tag, "", __VA_ARGS__)
#define ZIN_INFO_IF(condition, ...) ZIN_LOG_IF(ZIN_LEVEL_INFO, condition, __VA_ARGS__)
#define ZIN_INFO_EVERY_N(n, ...) ZIN_LOG_EVERY_N(ZIN_LEVEL_INFO, n, __VA_ARGS__)
#define ZIN_INFO_EVERY_MS(milliseconds, ...) \
  ZIN_LOG_EVERY_MS(ZIN_LEVEL_INFO, milliseconds, __VA_ARGS__)

#define ZIN_DEBUG(...) ZIN_LOG(ZIN_LEVEL_DEBUG, " ", "", __VA_ARGS__)
#define ZIN_DEBUG_TO(subDirKey, ...) ZIN_LOG(ZIN_LEVEL_DEBUG, " ", subDirKey, __VA_ARGS__)
#define ZIN_DEBUG_TAG(tag, ...) ZIN_LOG(ZIN_LEVEL_DEBUG, tag, "", __VA_ARGS__)
#define ZIN_DEBUG_IF(condition, ...) ZIN_LOG_IF(ZIN_LEVEL_DEBUG, condition, __VA_ARGS__)
#define ZIN_DEBUG_EVERY_N(n, ...) ZIN_LOG_EVERY_N(ZIN_LEVEL_DEBUG, n, __VA_ARGS__)
#define ZIN_DEBUG_EVERY_MS(milliseconds, ...) \
  ZIN_LOG_EVERY_MS(ZIN_LEVEL_DEBUG, milliseconds, __VA_ARGS__)

// ---- Metrics ---------------------------------------------------------------

// ZIN_METRICS(format, ...): one record of the metrics channel.
#define ZIN_METRICS(...) ZinLogger::GetInstance()->Metrics(__VA_ARGS__)

// ---- What the macros are made of ---------------------------------------------

// Counts calls. Thread-safe; each place of a program has one of its own.
class ZinEveryNth {
 public:
  constexpr ZinEveryNth() noexcept : calls(0) {}
  ZinEveryNth(const ZinEveryNth&) = delete;
  ZinEveryNth& operator=(const ZinEveryNth&) = delete;

  // True for the first call and every n-th after it.
  bool IsDue(unsigned long n) noexcept {
    return n != 0 && calls.fetch_add(1, std::memory_order_relaxed) % n == 0;
  }

 private:
  std::atomic<unsigned long> calls;
};

// Lets one call pass per interval. Thread-safe; each place of a program has one
// of its own. Its clock never jumps.
class ZinOncePerInterval {
 public:
  constexpr ZinOncePerInterval() noexcept : due((std::numeric_limits<std::int64_t>::min)()) {}
  ZinOncePerInterval(const ZinOncePerInterval&) = delete;
  ZinOncePerInterval& operator=(const ZinOncePerInterval&) = delete;

  // True for the first call, and then once each interval has passed. Of several
  // threads that come at that moment, one gets true.
  bool IsDue(std::int64_t milliseconds) noexcept {
    const std::int64_t now = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now().time_since_epoch())
                                 .count();
    const std::int64_t longest = (std::numeric_limits<std::int64_t>::max)() - now;
    const std::int64_t next = now + (milliseconds < longest ? milliseconds : longest);
    std::int64_t seen = due.load(std::memory_order_relaxed);
    while (now >= seen) {
      if (due.compare_exchange_weak(seen, next, std::memory_order_relaxed)) return true;
    }
    return false;
  }

 private:
  std::atomic<std::int64_t> due;  // milliseconds of the steady clock
};

// Stops both channels at the end of its scope, so that no queued line is lost
// when a function returns early or an exception passes. Waits as StopSystem
// does: at most 10 seconds per channel. The metrics channel goes first, while
// the log can still take its farewell.
//
// Have one, in main, before the channels are started. A channel that was not
// started is not touched.
class ZinStopAtScopeEnd {
 public:
  ZinStopAtScopeEnd() noexcept {}
  ~ZinStopAtScopeEnd() {
    ZinLogger::GetInstance()->StopMetricSystem();
    ZinLogger::GetInstance()->StopSystem();
  }
  ZinStopAtScopeEnd(const ZinStopAtScopeEnd&) = delete;
  ZinStopAtScopeEnd& operator=(const ZinStopAtScopeEnd&) = delete;
};

#endif  // ZIN_LOGGER_MACROS_H
