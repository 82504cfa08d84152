#ifndef ZIN_TEST_RUN_PROGRAM_H
#define ZIN_TEST_RUN_PROGRAM_H

#include <sys/types.h>

#include <string>
#include <vector>

struct ProgramResult {
  int exitCode = -1;      // -1 when it did not exit by itself
  int signal = 0;         // that ended it; 0 when none did
  bool timedOut = false;  // it hung and was killed
  std::string standardOutput;
  std::string standardError;
};

// Runs a program (looked up in PATH) to its end, with standard input from
// /dev/null; killed after a minute, which only a hang explains. `arguments`
// holds the program's name first.
ProgramResult RunProgram(const std::vector<std::string>& arguments);

// Puts before a command what makes it run without any rights: setpriv to this
// user and group when the test runs as root, nothing otherwise.
inline constexpr uid_t userWithoutRights = 65534;
std::vector<std::string> Unprivileged(std::vector<std::string> arguments);

#endif  // ZIN_TEST_RUN_PROGRAM_H
