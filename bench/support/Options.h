// What a run is to measure, read from the command line.
#ifndef ZIN_BENCH_OPTIONS_H
#define ZIN_BENCH_OPTIONS_H

#include <string>

struct Options {
  std::string measure;
  std::string directory;     // --dir: created; must be empty; its name holds "log"
  int threads = 1;           // --threads
  int lines = 500000;        // --lines, of all threads together
  int rate = 20000;          // --rate, lines per second
  double seconds = 1;        // --seconds
  int queueLines = 1 << 14;  // --queue
  bool spin = false;         // --spin: the caller computes between lines instead of sleeping
  bool withDouble = false;   // --double: the message holds a floating-point number
  bool ownFlushing = false;  // --own-flushing: lines are flushed when the library does it untold
  bool byMacro = false;      // --by-macro: the library's macro, not its function
  int count = 1;             // --count, of sub-directory keys or files
};

// Throws std::runtime_error that says what is wrong.
Options ReadOptions(int argc, char** argv);

// Runs a program's measure; prints what it throws, and gives the exit code.
int RunProgram(int argc, char** argv, void (*measure)(const Options&));

#endif  // ZIN_BENCH_OPTIONS_H
