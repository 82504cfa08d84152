#include "LineFormat.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

#include "ZinDateTime.h"
#include "ZinSafeString.h"
#include "ZinSysInfo.h"

namespace {

constexpr std::string_view pathSeparators = "\\/";
constexpr std::uint64_t millisecondsPerSecond = 1000;
constexpr std::size_t longestNumber = 11;  // of 32 bits, with its sign

const char* LevelName(LogLevel level) {
  const auto index = static_cast<std::size_t>(level);
  return index < std::size(LevelNames) ? LevelNames[index] : "UNKNOWN";
}

// Deliberate: the first character is never examined, so a leading separator is
// kept.
std::string_view AfterLastSeparator(std::string_view path, std::string_view separators) {
  std::string_view base = path;
  std::string_view examined = path.empty() ? path : path.substr(1);
  for (const char separator : separators) {
    if (const void* const found = memrchr(examined.data(), separator, examined.size())) {
      const auto place =
          static_cast<std::size_t>(static_cast<const char*>(found) - examined.data());
      base = examined = examined.substr(place + 1);
    }
  }
  return base;
}

int MillisecondOf(std::uint64_t tick) {
  return static_cast<int>(tick % millisecondsPerSecond);
}

// What a header is made of. Tag, file and function may be null.
struct HeaderParts {
  std::string_view process;
  ZinDateTime second;
  int millisecond;
  std::int32_t thread;
  const char* level;
  const char* tag;
  const char* file;
  std::int32_t line;
  const char* function;
};

// The second of a header in print, as the calling thread printed it last.
struct PrintedSecond {
  ZinDateTime second;
  std::size_t length = 0;  // 0: nothing printed yet
  std::array<char, 6 * longestNumber + sizeof "-- ::."> text{};
};

std::string_view Print(const ZinDateTime& second) {
  // The storage model spares the call that the default one makes at every access
  // from a shared library.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local PrintedSecond latest;
  if (latest.length == 0 || latest.second != second) {
    latest.second = second;
    latest.length = static_cast<std::size_t>(
        snprintf_s(latest.text.data(), latest.text.size(), latest.text.size() - 1,
                   "%.4d-%.2d-%.2d %.2d:%.2d:%.2d.", second.year, second.month, second.day,
                   second.hour, second.minute, second.second));
  }
  return {latest.text.data(), latest.length};
}

char* Put(char* to, std::string_view text) {
  return to + text.copy(to, text.size());
}

char* Put(char* to, std::int32_t number) {
  return std::to_chars(to, to + longestNumber, number).ptr;
}

char* PutMillisecond(char* to, int millisecond) {
  *to++ = static_cast<char>('0' + millisecond / 100);
  *to++ = static_cast<char>('0' + millisecond / 10 % 10);
  *to++ = static_cast<char>('0' + millisecond % 10);
  return to;
}

// Puts the header together without a general formatter, with which a log call
// takes twice as long. Null, and nothing is written, when it might not fit into
// `room` characters or a string is null.
char* PutHeader(char* to, std::size_t room, const HeaderParts& parts) {
  if (parts.tag == nullptr || parts.file == nullptr || parts.function == nullptr) return nullptr;
  const std::string_view second = Print(parts.second);
  const std::string_view tag = parts.tag;
  const std::string_view file = AfterLastSeparator(parts.file, pathSeparators);
  const std::string_view function = parts.function;
  constexpr std::size_t longestFixed =
      sizeof "[] [000] [] [UNKNOWN][:] []: " + longestNumber + longestNumber;
  if (longestFixed + parts.process.size() + second.size() + tag.size() + file.size() +
          function.size() >
      room) {
    return nullptr;
  }
  to = Put(Put(to, "["), parts.process);
  to = Put(Put(to, "] ["), second);
  to = PutMillisecond(to, parts.millisecond);
  to = Put(Put(to, "] ["), parts.thread);
  // Deliberate: level names are not padded, so the columns behind them shift.
  to = Put(Put(to, "] ["), parts.level);
  to = Put(Put(to, "]"), tag);
  to = Put(Put(to, "["), file);
  to = Put(Put(to, ":"), parts.line);
  to = Put(Put(to, "] ["), function);
  return Put(to, "]: ");
}

// A bound of 64 bits where a size may have fewer: no buffer is larger than that.
std::size_t AsSize(std::uint64_t bound) {
  return static_cast<std::size_t>(
      std::min<std::uint64_t>(bound, std::numeric_limits<std::size_t>::max()));
}

int FormatHeader(char* buffer, std::uint64_t destMax, std::uint64_t count,
                 const HeaderParts& parts) {
  const ZinDateTime& second = parts.second;
  return snprintf_s(buffer, AsSize(destMax), AsSize(count),
                    "[%.*s] [%.4d-%.2d-%.2d %.2d:%.2d:%.2d.%.3d] [%d] [%s]%s[%s:%d] [%s]: ",
                    static_cast<int>(parts.process.size()), parts.process.data(), second.year,
                    second.month, second.day, second.hour, second.minute, second.second,
                    parts.millisecond, parts.thread, parts.level, parts.tag,
                    BaseFileName(parts.file, pathSeparators.data()), parts.line, parts.function);
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

  const HeaderParts parts{
      process, now, MillisecondOf(tick), thread, LevelName(level), tag, file, line, function};
  const std::size_t room = destMax == 0 ? 0 : AsSize(std::min(count, destMax - 1));
  char* const end = PutHeader(buffer, room, parts);
  if (end == nullptr) return FormatHeader(buffer, destMax, count, parts);
  *end = '\0';
  return end - buffer;
}

int FormatFileStamp(char* buffer, std::uint64_t destMax, std::uint64_t count,
                    std::int32_t sequence) {
  const ZinDateTime now = ZinDateTime::GetCurrentDateTime();
  const std::uint64_t tick = ZinDateTime::GetCurrentTick();
  const std::int32_t process = ZinGetProcessId();
  return snprintf_s(buffer, AsSize(destMax), AsSize(count), "%.4d%.2d%.2d%.2d%.2d%.2d%.3d-%.3d-%d",
                    now.year, now.month, now.day, now.hour, now.minute, now.second,
                    MillisecondOf(tick), sequence, process);
}

const char* BaseFileName(const char* path, const char* separators) {
  if (path == nullptr || separators == nullptr) return nullptr;
  return AfterLastSeparator(path, separators).data();
}
