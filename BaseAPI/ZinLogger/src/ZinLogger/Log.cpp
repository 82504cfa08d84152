#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <string>

#include "LineFormat.h"
#include "PlainField.h"
#include "RecentLogCache.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"
#include "ZinSafeString.h"

namespace {

constexpr std::size_t lineBufferSize = 2048;
constexpr std::size_t longestText = 2046;  // header and message
static_assert(longestText + 2 == lineBufferSize, "room for a newline and a NUL");

// Writes the whole line into `line`. False: there is nothing to log.
[[gnu::format(printf, 7, 0)]] bool FormatLine(char (&line)[lineBufferSize], LogLevel level,
                                              const char* file, int sourceLine,
                                              const char* function, const char* tag,
                                              const char* format, std::va_list values) {
  const int callersErrno = errno;
  const std::int64_t headerResult =
      FormatLogHeader(line, lineBufferSize, longestText, level, file, sourceLine, function, tag);
  if (headerResult == 0) return false;
  // The part of the header that fits is the line. There is none when the
  // formatter failed; an empty line would end the worker.
  if (headerResult < 0) return line[0] != '\0';
  const auto headerLength = static_cast<std::size_t>(headerResult);

  errno = callersErrno;  // for %m
  const int messageResult = vsnprintf_s(line + headerLength, lineBufferSize - headerLength,
                                        longestText - headerLength, format, values);
  // Deliberate: a message that formats to nothing makes no line at all.
  if (messageResult == 0) return false;
  // Deliberate: a line that was cut has no newline. Nor has the bare header that
  // is left of a message that cannot be formatted.
  if (messageResult < 0) return true;

  const std::size_t end = headerLength + static_cast<std::size_t>(messageResult);
  if (line[end - 1] != '\n') {
    line[end] = '\n';
    line[end + 1] = '\0';
  }
  return true;
}

// All of the call that comes after the filter. Out of line, so that a call that is
// filtered saves no registers for it.
[[gnu::noinline, gnu::format(printf, 8, 0)]] void Emit(ZinLoggerPrivate& state, const char* file,
                                                       int line, const char* function,
                                                       const char* tag, const char* subDirKey,
                                                       LogLevel level, const char* format,
                                                       std::va_list values) {
  const int callersErrno = errno;
  char text[lineBufferSize];
  if (FormatLine(text, level, file, line, function, tag, format, values)) {
    state.forcedLog(subDirKey, text);
    // Deliberate: whether the line was queued, dropped or sent to standard error.
    RecentLogCache::Instance().Append(text);
  }
  errno = callersErrno;
}

}  // namespace

void ZinLogger::Log(const char* file, int line, const char* function, const char* tag,
                    const char* subDirKey, LogLevel level, const char* format, ...) noexcept {
  ZinLoggerPrivate* const state = LoadPlain(d);
  if (state == nullptr) return;
  if (level > LoadPlain(state->logLevel)) return;

  std::va_list values;
  va_start(values, format);
  Emit(*state, file, line, function, tag, subDirKey, level, format, values);
  va_end(values);
}
