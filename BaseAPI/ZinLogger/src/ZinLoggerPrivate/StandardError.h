// Where lines go while their channel is not running.
#ifndef ZIN_STANDARD_ERROR_H
#define ZIN_STANDARD_ERROR_H

// Writes `line` to std::cerr as it stands. A null line only sets the stream's
// bad-bit. Each line is tried afresh: a stream that an earlier failure left bad
// is cleared first. Failures are not reported, and a reader that has gone does
// not end the process.
//
// Thread-safe; lines of several threads do not mix.
void WriteToStandardError(const char* line);

// In a child of fork: another thread of the parent may have been writing.
void ResetStandardErrorInChild();

#endif  // ZIN_STANDARD_ERROR_H
