// A service that logs numbered lines at a steady rate:
//
//   paced_service [--lines N] [--rate LINES-PER-SECOND] [--cut-every N]
//                 [--file-mib N] [--keep N] [--pause-file FILE] DIRECTORY
//
// Line n has level n % 5 and a message that begins with n in ten digits. A rate
// of 0 means as fast as the queue has room. Every file is kept unless --keep
// says otherwise. While the pause file exists, nothing is logged. Prints the
// number of lines logged; SIGTERM ends it early. Exits non-zero when the
// directory is refused.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "ZinLogger.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  long lines = 20000;
  long rate = 20000;
  long cutEvery = 0;  // 0: none
  int fileMiB = 1;
  int keep = 100000;
  std::string pauseFile;
  std::string directory;
};

volatile std::sig_atomic_t ended = 0;

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
    } else if (name == "--file-mib") {
      options.fileMiB = std::atoi(argv[i + 1]);
    } else if (name == "--keep") {
      options.keep = std::atoi(argv[i + 1]);
    } else if (name == "--pause-file") {
      options.pauseFile = argv[i + 1];
    } else {
      return false;
    }
  }
  if (i + 1 != argc) return false;
  options.directory = argv[i];
  return true;
}

// The message of a line is some 130 bytes, or longer than a record holds.
void WriteLine(ZinLogger& logger, long number, bool cut) {
  static const std::string filling(60, '.');
  static const std::string tooMuch(2500, '#');
  logger.Log("src/paced_service.cpp", 1, "WriteLine", " ", "", static_cast<LogLevel>(number % 5),
             "%010ld %s", number, cut ? tooMuch.c_str() : filling.c_str());
}

void WaitWhilePaused(const Options& options, Clock::time_point& due) {
  if (options.pauseFile.empty()) return;
  bool paused = false;
  while (ended == 0 && std::filesystem::exists(options.pauseFile)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    paused = true;
  }
  if (paused) due = Clock::now();
}

// Writes in steps of a hundredth of a second. Returns the lines written.
long WriteLines(ZinLogger& logger, const Options& options) {
  const long perStep = options.rate > 0 ? options.rate / 100 + 1 : 1000;
  Clock::time_point due = Clock::now();
  long number = 0;
  while (number < options.lines && ended == 0) {
    WaitWhilePaused(options, due);
    for (long i = 0; i < perStep && number < options.lines; ++i, ++number) {
      WriteLine(logger, number, options.cutEvery > 0 && number % options.cutEvery == 1);
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
  std::signal(SIGTERM, [](int) { ended = 1; });
  ZinLogger& logger = *ZinLogger::GetInstance();
  // Room for all: what is to be counted must not be dropped.
  const auto room = static_cast<unsigned long>(options.lines) + 100;
  logger.LimitLogPathSize(1000000, 1000000);
  if (!logger.StartSystem("app.log", options.directory.c_str(), options.keep, options.fileMiB,
                          DEBUG, room, true)) {
    std::fputs("paced_service: the directory was refused\n", stderr);
    return 1;
  }
  const long written = WriteLines(logger, options);
  logger.StopSystem();
  std::printf("%ld\n", written);
  return 0;
}
