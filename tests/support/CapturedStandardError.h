#ifndef ZIN_TEST_CAPTURED_STANDARD_ERROR_H
#define ZIN_TEST_CAPTURED_STANDARD_ERROR_H

#include <string>

// Sends descriptor 2 to a file while it lives, and tells what was written.
class CapturedStandardError {
 public:
  CapturedStandardError();
  ~CapturedStandardError();
  CapturedStandardError(const CapturedStandardError&) = delete;
  CapturedStandardError& operator=(const CapturedStandardError&) = delete;

  // All that was written so far.
  std::string Text() const;

 private:
  int file;
  int original;
};

#endif  // ZIN_TEST_CAPTURED_STANDARD_ERROR_H
