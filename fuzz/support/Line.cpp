#include "Line.h"

#include <cstdio>

#include "FakeClock.h"
#include "FakeIds.h"

namespace {

constexpr std::size_t longestLine = 2046;

std::string NameOf(LogLevel level) {
  switch (level) {
    case FATAL:
      return "FATAL";
    case ERROR:
      return "ERROR";
    case WARN:
      return "WARN";
    case INFO:
      return "INFO";
    case DEBUG:
      return "DEBUG";
  }
  return "UNKNOWN";
}

// At least so many digits, a sign apart.
std::string Digits(long number, std::size_t least) {
  std::string text = std::to_string(number < 0 ? -number : number);
  while (text.size() < least) text.insert(0, 1, '0');
  return number < 0 ? "-" + text : text;
}

std::string OrNull(const char* text) {
  return text == nullptr ? "(null)" : text;
}

}  // namespace

void Install(const LineParts& parts) {
  FakeIds::SetProcessName(parts.process);
  FakeIds::SetThreadId(parts.thread);
  FakeClock::SetDateTime(parts.time.year, parts.time.month, parts.time.day, parts.time.hour,
                         parts.time.minute, parts.time.second);
  FakeClock::SetTick(parts.tick);
}

std::string BaseNameOf(const std::string& path, const std::string& separators) {
  std::string base = path;
  for (std::size_t i = 1; i < path.size(); ++i) {
    if (separators.find(path[i]) != std::string::npos) base = path.substr(i + 1);
  }
  return base;
}

std::string HeaderOf(const LineParts& parts) {
  const ZinDateTime& time = parts.time;
  const std::string file = parts.file == nullptr ? "(null)" : BaseNameOf(parts.file, "\\/");
  return "[" + parts.process + "] [" + Digits(time.year, 4) + "-" + Digits(time.month, 2) + "-" +
         Digits(time.day, 2) + " " + Digits(time.hour, 2) + ":" + Digits(time.minute, 2) + ":" +
         Digits(time.second, 2) + "." + Digits(static_cast<long>(parts.tick % 1000), 3) + "] [" +
         std::to_string(parts.thread) + "] [" + NameOf(parts.level) + "]" + OrNull(parts.tag) +
         "[" + file + ":" + std::to_string(parts.line) + "] [" + OrNull(parts.function) + "]: ";
}

std::string LineOf(const LineParts& parts, const FormattedText& message) {
  const std::string header = HeaderOf(parts);
  if (header.size() > longestLine) return header.substr(0, longestLine);
  if (message.failed) return header;
  if (message.text.empty()) return {};
  std::string line = header + message.text;
  if (line.size() > longestLine) {
    line.resize(longestLine);
  } else if (line.back() != '\n') {
    line += '\n';
  }
  return UpToNul(line);
}

std::string UpToNul(const std::string& text) {
  return text.substr(0, text.find('\0'));
}
