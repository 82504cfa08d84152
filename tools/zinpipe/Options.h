// What the command line says.
#ifndef ZINPIPE_OPTIONS_H
#define ZINPIPE_OPTIONS_H

#include <ZinLogger.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

// What the name of a finished file has more than that of the file being written:
// "_20260105090307042-000-" and a process id of up to seven digits.
constexpr std::size_t longestStamp = 30;

constexpr unsigned noLimit = std::numeric_limits<unsigned>::max();

struct Options {
  std::string directory;  // with the sub-directory, if there is one
  std::string fileName;
  int fileSizeMiB = 10;
  int keepFiles = 10;
  unsigned maxFiles = noLimit;  // limits of the directory as a whole
  unsigned maxMiB = noLimit;
  unsigned long queueCapacity = 10000;  // records
  bool stamp = false;
  LogLevel level = INFO;
  std::string tag = " ";
  bool echo = false;
  bool follow = false;
  bool retry = false;              // waits for followed files that are not there yet
  int drainSeconds = 5;            // how long a writer may go on after a stop signal
  std::vector<std::string> files;  // empty: standard input
  bool helpWanted = false;
  bool versionWanted = false;
};

// An argument that is not understood; its text is one line for the user.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws UsageError.
Options ParseOptions(int argc, char** argv);

// The text of --help.
std::string HelpText();

#endif  // ZINPIPE_OPTIONS_H
