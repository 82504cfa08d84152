// What a log line has to look like, put together from its parts.
#ifndef ZIN_FUZZ_LINE_H
#define ZIN_FUZZ_LINE_H

#include <string>

#include "FormatPlan.h"
#include "ZinDateTime.h"
#include "ZinLogger.h"

struct LineParts {
  std::string process = "demo";
  ZinDateTime time{2026, 1, 5, 9, 3, 7};
  unsigned long tick = 42;  // milliseconds
  int thread = 1234;
  LogLevel level = INFO;
  const char* tag = " ";
  const char* file = "src/alpha_unit";
  int line = 12;
  const char* function = "Work";
};

// Lets the clock and the ids of the process show them.
void Install(const LineParts& parts);

// What comes after the last separator, but for one in the first place.
std::string BaseNameOf(const std::string& path, const std::string& separators);

// The header without any bound.
std::string HeaderOf(const LineParts& parts);

// The line as it leaves a log call; empty when there is to be none.
std::string LineOf(const LineParts& parts, const FormattedText& message);

// What of a text is left where it is passed on as a C string.
std::string UpToNul(const std::string& text);

#endif  // ZIN_FUZZ_LINE_H
