// What the command line says.
#ifndef SERVICE_OPTIONS_H
#define SERVICE_OPTIONS_H

#include <stdexcept>
#include <string>

struct Options {
  std::string root = ".";
  std::string logDirectory = "./logs";
  int port = 0;  // 0: the system picks a free one
  int threads = 4;
  int keepFiles = 5;
  int fileSizeMiB = 1;
  int maxFiles = 100;  // limits of the log directory as a whole
  int maxMiB = 10;
  int queueCapacity = 100000;
  bool helpWanted = false;
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

#endif  // SERVICE_OPTIONS_H
