// Local date and time, and a millisecond tick.
#ifndef ZIN_DATE_TIME_H
#define ZIN_DATE_TIME_H

#include <cstdint>

// A moment of local time, to the second. Fields are as printed: the full year,
// months from 1 to 12, seconds to 60 when a leap second is told.
class ZinDateTime {
 public:
  std::int32_t year = 0;
  std::int32_t month = 0;
  std::int32_t day = 0;
  std::int32_t hour = 0;
  std::int32_t minute = 0;
  std::int32_t second = 0;

  bool operator==(const ZinDateTime&) const = default;

  // Now, in the time zone of the process (TZ as of the last tzset).
  //
  // Thread-safe. A child of fork may call it at any time: the C library's time
  // zone lock is never left held across a fork by a thread that is in here.
  static ZinDateTime GetCurrentDateTime();

  // Milliseconds since 1970-01-01 00:00 UTC. Steps when the clock is set.
  // Thread-safe.
  static std::uint64_t GetCurrentTick();
};

#endif  // ZIN_DATE_TIME_H
