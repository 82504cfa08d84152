#ifndef ZIN_TEST_TEXT_H
#define ZIN_TEST_TEXT_H

#include <string>
#include <vector>

// The lines of a text without their newlines; a last line without one counts.
std::vector<std::string> SplitLines(const std::string& text);

// What follows the "]: " of a log line's header; the whole line if none does.
std::string MessageOf(const std::string& line);

// The messages of all lines.
std::vector<std::string> MessagesOf(const std::vector<std::string>& lines);

#endif  // ZIN_TEST_TEXT_H
