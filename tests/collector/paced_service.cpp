// A service that logs numbered lines at a steady rate:
//
//   paced_service [--lines N] [--rate LINES-PER-SECOND] [--cut-every N]
//                 [--two-lines-every N] DIRECTORY
//
// Line n has level n % 5 and a message that begins with n in ten digits. A rate
// of 0 means as fast as possible. Every N-th may be longer than a record, so that
// it is cut, or take two lines. Files are rotated at 1 MiB, and all are kept.
// Prints the number of lines logged. Exits non-zero when the directory is
// refused.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "ZinLogger.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  long lines = 20000;
  long rate = 20000;
  long cutEvery = 0;  // 0: none
  long twoLinesEvery = 0;
  std::string directory;
};

bool ReadOptions(int argc, char** argv, Options& options) {
  int i = 1;
  for (; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    if (name == "--lines") {
      options.lines = std::atol(argv[i + 1]);
    } else if (name == "--rate") {
      options.rate = std::atol(argv[i + 1]);
    } else if (name == "--cut-every") {
      options.cutEvery = std::atol(argv[i + 1]);
    } else if (name == "--two-lines-every") {
      options.twoLinesEvery = std::atol(argv[i + 1]);
    } else {
      return false;
    }
  }
  if (i + 1 != argc) return false;
  options.directory = argv[i];
  return true;
}

bool IsTurn(long number, long every, long rest) {
  return every > 0 && number % every == rest;
}

// A line is some 160 bytes, or longer than a record holds.
void WriteLine(ZinLogger& logger, long number, const Options& options) {
  static const std::string filling(60, '.');
  static const std::string tooMuch(2500, '#');
  const bool cut = IsTurn(number, options.cutEvery, 1);
  logger.Log("src/paced_service.cpp", 1, "WriteLine", " ", "", static_cast<LogLevel>(number % 5),
             "%010ld%s%s", number, IsTurn(number, options.twoLinesEvery, 2) ? "\n  " : " ",
             cut ? tooMuch.c_str() : filling.c_str());
}

// Writes in steps of a hundredth of a second. Returns the lines written.
long WriteLines(ZinLogger& logger, const Options& options) {
  const long perStep = options.rate > 0 ? options.rate / 100 + 1 : 1000;
  Clock::time_point due = Clock::now();
  long number = 0;
  while (number < options.lines) {
    for (long i = 0; i < perStep && number < options.lines; ++i, ++number) {
      WriteLine(logger, number, options);
    }
    if (options.rate > 0) {
      due += std::chrono::microseconds(perStep * 1000000 / options.rate);
      std::this_thread::sleep_until(due);
    }
  }
  return number;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!ReadOptions(argc, argv, options)) {
    std::fputs("paced_service: wrong arguments\n", stderr);
    return 2;
  }
  ZinLogger& logger = *ZinLogger::GetInstance();
  // Room for all: what is to be counted must not be dropped.
  const auto room = static_cast<unsigned long>(options.lines) + 100;
  logger.LimitLogPathSize(1000000, 1000000);
  if (!logger.StartSystem("app.log", options.directory.c_str(), 100000, 1, DEBUG, room, true)) {
    std::fputs("paced_service: the directory was refused\n", stderr);
    return 1;
  }
  const long written = WriteLines(logger, options);
  logger.StopSystem();
  std::printf("%ld\n", written);
  return 0;
}
