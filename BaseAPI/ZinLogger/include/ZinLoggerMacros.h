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
// What they are: a look at the threshold, and one call of ZinLogger::Log, with the
// compiler's check of the format. Each is a statement and may stand alone after an
// if. Below the threshold it costs less than a nanosecond, and no argument is
// evaluated, nor does an ..._EVERY_N count; otherwise each is evaluated once. The
// threshold is the logger's own: SetLogLevel and a start count at once.
//
// Built with -DZIN_LEVEL_FLOOR=3, say, the program has no code for lines above level
// 3 (DEBUG); format and arguments are still checked.
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

// The highest level for which there is code.
#ifndef ZIN_LEVEL_FLOOR
#define ZIN_LEVEL_FLOOR 2147483647
#endif

// ZIN_IS_ON(level): whether a line of the level would pass, for work that is done
// for such lines alone.
#define ZIN_IS_ON(level) ZinThreshold<void>::Passes(level, ZIN_LEVEL_FLOOR)

// ZIN_LOG(level, tag, subDirKey, format, ...): what the others are made of.
#define ZIN_LOG(level, tag, subDirKey, ...)                                  \
  do {                                                                       \
    const LogLevel zinLevel = (level);                                       \
    if (ZIN_IS_ON(zinLevel)) ZIN_INTERNAL_CALL(tag, subDirKey, __VA_ARGS__); \
  } while (false)

// ZIN_LOG_IF(level, condition, format, ...): a line if the condition holds.
#define ZIN_LOG_IF(level, condition, ...)                                            \
  do {                                                                               \
    const LogLevel zinLevel = (level);                                               \
    if (ZIN_IS_ON(zinLevel) && (condition)) ZIN_INTERNAL_CALL(" ", "", __VA_ARGS__); \
  } while (false)

// ZIN_LOG_EVERY_N(level, n, format, ...): the first call that comes here, and
// every n-th after it, from whatever threads. 0 never logs.
#define ZIN_LOG_EVERY_N(level, n, ...)                    \
  do {                                                    \
    static ZinEveryNth zinEveryNth;                       \
    ZIN_LOG_IF(level, zinEveryNth.IsDue(n), __VA_ARGS__); \
  } while (false)

// ZIN_LOG_EVERY_MS(level, milliseconds, format, ...): the first call that comes
// here, and then at most one per interval, from whatever threads.
#define ZIN_LOG_EVERY_MS(level, milliseconds, ...)                          \
  do {                                                                      \
    static ZinOncePerInterval zinOncePerInterval;                           \
    ZIN_LOG_IF(level, zinOncePerInterval.IsDue(milliseconds), __VA_ARGS__); \
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

// Not for use by programs.
#define ZIN_INTERNAL_CALL(tag, subDirKey, ...)                                              \
  ZinLogger::GetInstance()->Log(__FILE__, __LINE__, __func__, (tag), (subDirKey), zinLevel, \
                                __VA_ARGS__)

// Where the logger keeps its threshold. Builds the logger if nobody has. The pointer
// stays good until the process has ended. Any thread; read what it points to as
// ZinThreshold does, for it may change at any time.
//
// A function, for a program that is linked without PIC would get a copy of a variable.
ZIN_LOGGER_API const LogLevel* ZinLogThreshold() noexcept;

// A template, for C++11 has no other variable that a header can define.
template <typename Unused>
class ZinThreshold {
 public:
  static bool Passes(LogLevel level, int floor) noexcept {
    if (level > floor) return false;
    // Static objects may log before the pointer is there: the logger then decides.
    if (place == nullptr) return true;
    LogLevel threshold;
    __atomic_load(place, &threshold, __ATOMIC_RELAXED);
    return level <= threshold;
  }

 private:
  static const LogLevel* const place;
};

template <typename Unused>
const LogLevel* const ZinThreshold<Unused>::place = ZinLogThreshold();

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
