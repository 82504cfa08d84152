// Where lines go while their channel is not running.
#ifndef ZIN_STANDARD_ERROR_H
#define ZIN_STANDARD_ERROR_H

#include <chrono>

// Writes `line` to std::cerr as it stands, past the streams that it is tied to. A
// null line only sets the stream's bad-bit. Each line is tried afresh: a stream
// that an earlier failure left bad is cleared first. Failures are not reported,
// and a reader that has gone does not end the process.
//
// The stream's buffer may be the program's own, and log: a line that a thread
// logs while it writes one goes around, straight to descriptor 2. So does one
// that has waited a second for another thread to come back from there.
//
// Thread-safe; lines of several threads do not mix. Waits for a reader as any
// writer does, unless one of the following says otherwise.
void WriteToStandardError(const char* line);

// While it lives, its thread does not wait: a line that standard error does not
// take at once is lost. For threads that have more important things to do.
class NoWaitForStandardError {
 public:
  NoWaitForStandardError();
  ~NoWaitForStandardError();
  NoWaitForStandardError(const NoWaitForStandardError&) = delete;
  NoWaitForStandardError& operator=(const NoWaitForStandardError&) = delete;
};

// While it lives, its thread waits for a second at most with each line. A line
// that standard error does not begin to take by then is lost.
class ShortWaitForStandardError {
 public:
  ShortWaitForStandardError();
  ~ShortWaitForStandardError();
  ShortWaitForStandardError(const ShortWaitForStandardError&) = delete;
  ShortWaitForStandardError& operator=(const ShortWaitForStandardError&) = delete;

  // For WriteToStandardError: writes the line in a thread of its own.
  void Write(const char* line);

  // How long the thread has waited so far.
  std::chrono::milliseconds Waited() const { return waited; }

 private:
  std::chrono::milliseconds waited{0};
};

// In a child of fork: another thread of the parent may have been writing.
void ResetStandardErrorInChild();

#endif  // ZIN_STANDARD_ERROR_H
