// The lines by which the ownership step reports its failures.
#ifndef ZIN_TEST_OWNERSHIP_LINES_H
#define ZIN_TEST_OWNERSHIP_LINES_H

#include <string>
#include <vector>

#include "Text.h"

// A whole line with this message, from process demo at the time at which the
// fake clock stands; the source line is left open.
inline std::string OwnershipLine(const std::string& message) {
  return "[demo] [2026-01-05 09:03:07.042] [1234] [ERROR] [ZinDir:#] "
         "[ZinChownDirAndFirstDepthFiles]: " +
         message;
}

// The lines of a text, each with a # for the number of its source line.
inline std::vector<std::string> WithoutSourceLines(const std::string& text) {
  const std::string unit = "[ZinDir:";
  std::vector<std::string> lines = SplitLines(text);
  for (std::string& line : lines) {
    const std::size_t number = line.find(unit);
    if (number == std::string::npos) continue;
    const std::size_t begin = number + unit.size();
    const std::size_t end = line.find_first_not_of("0123456789", begin);
    if (end != begin && end != std::string::npos) line.replace(begin, end - begin, "#");
  }
  return lines;
}

#endif  // ZIN_TEST_OWNERSHIP_LINES_H
