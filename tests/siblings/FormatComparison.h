// The same call to vsnprintf_s and to the C library alone, and whether they do the same.
#ifndef ZIN_TESTS_FORMAT_COMPARISON_H
#define ZIN_TESTS_FORMAT_COMPARISON_H

#include <cstddef>
#include <string>

// What a call leaves behind.
struct CallOutcome {
  int result = 0;
  int error = 0;      // errno
  std::string bytes;  // of the buffer, and of some more behind it

  bool operator==(const CallOutcome&) const = default;
};

struct CallBounds {
  std::size_t destMax = 0;
  std::size_t count = 0;
  int callersErrno = 0;
};

// Neither has the attribute by which the compiler checks formats. The bytes of
// `outcome` keep their memory from call to call.
void CallSafeString(CallOutcome& outcome, const CallBounds& bounds, const char* format, ...);
// What vsnprintf_s promises, by std::vsnprintf and nothing else.
void CallCLibrary(CallOutcome& outcome, const CallBounds& bounds, const char* format, ...);

struct FormatComparison {
  CallOutcome ours, theirs;

  template <typename... Values>
  bool Agrees(const CallBounds& bounds, const char* format, Values... values) {
    CallSafeString(ours, bounds, format, values...);
    CallCLibrary(theirs, bounds, format, values...);
    return ours == theirs;
  }

  // Both outcomes of the last call, to be read by people.
  std::string Describe() const;
};

#endif  // ZIN_TESTS_FORMAT_COMPARISON_H
