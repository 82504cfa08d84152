#ifndef ZIN_LINE_HEADER_H
#define ZIN_LINE_HEADER_H

#include <string_view>

enum class HeaderMatch {
  No,
  Yes,
  TooShort,  // may become either with more bytes
};

// Whether the text begins like a line of the log channel:
//
//   [process] [2026-01-05 09:03:07.042] [1234] [INFO]
//
// What follows is not looked at, because a long header may be cut after it. A
// process name with a square bracket is not recognised, nor one above 255 bytes.
HeaderMatch MatchLineHeader(std::string_view text);

#endif  // ZIN_LINE_HEADER_H
