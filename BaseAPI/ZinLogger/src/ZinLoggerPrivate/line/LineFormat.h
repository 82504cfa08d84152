// What a log line and a rotated file's name look like.
//
// All functions are stateless but for the clock and ids they read, and safe on
// any number of threads.
#ifndef ZIN_LINE_FORMAT_H
#define ZIN_LINE_FORMAT_H

#include <cstdint>

#include "ZinLogger.h"

// Printed names, indexed by level.
inline constexpr const char* LevelNames[] = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG"};

// Writes the header of a log line, for example
//   [demo] [2026-01-05 09:03:07.042] [1234] [INFO] [queue_unit:110] [StopQueue]:
// with one blank after the colon. At most `count` characters plus a NUL, never
// more than `destMax` bytes. A level outside 0..4 prints as UNKNOWN; null
// strings print as the C library prints them.
//
// Returns the number of characters, or -1 when the header was cut.
std::int64_t FormatLogHeader(char* buffer, std::uint64_t destMax, std::uint64_t count,
                             LogLevel level, const char* file, std::int32_t line,
                             const char* function, const char* tag);

// Writes the stamp of a rotated file's name, for example
// 20260105090307042-007-4711: local time to the millisecond, `sequence` with at
// least three digits, process id. Bounds and result as above.
int FormatFileStamp(char* buffer, std::uint64_t destMax, std::uint64_t count,
                    std::int32_t sequence);

// The part of `path` after its last separator. The first character is never
// taken for a separator, so /x stays /x. Null when either argument is null; an
// empty path comes back as it is.
const char* BaseFileName(const char* path, const char* separators);

#endif  // ZIN_LINE_FORMAT_H
