// Writes one of each kind of record, at times and from threads that are set, so
// that what a viewer must show of them can be written down by hand: see
// check_view.py, which has a row for each.
//
//   view_samples DIRECTORY      its path must contain "log"
#include <cstdio>
#include <string>
#include <thread>

#include "FakeClock.h"
#include "FakeIds.h"
#include "ZinLogger.h"

namespace {

void AtSecond(int second, std::uint64_t millisecond) {
  FakeClock::SetDateTime(2026, 1, 5, 9, 3, second);
  FakeClock::SetTick(millisecond);
}

void LevelsTagsAndSources(ZinLogger& logger) {
  AtSecond(7, 42);
  logger.Log("src/sample.cpp", 10, "main", " ", "", FATAL, "the first");
  AtSecond(7, 43);
  logger.Log("src\\net\\sample.cpp", 71, "operator[]", "[net] ", "", ERROR,
             "refused: [x:1] [y]: %s", "no");
  AtSecond(7, 44);
  logger.Log("sample.cpp", -1, "", "", "", WARN, "%s", "100 % of %d and %s");
  AtSecond(7, 999);
  logger.Log("sample.cpp", 13, "Lines", " ", "", INFO, "one\n\n  three");
  AtSecond(8, 0);
  logger.Log("sample.cpp", 14, "Text", " ", "", DEBUG, "Gr\u00fc\u00dfe, \u4e16\u754c");
  AtSecond(8, 1);
  logger.Log("sample.cpp", 15, "Other", " ", "", static_cast<LogLevel>(7), "level 7\n");
  AtSecond(8, 2);
  logger.Log("sample.cpp", 16, "Net", " ", "net", INFO, "in a sub-directory");
}

// Each is longer than a record; what follows it stands on the same line.
void CutRecords(ZinLogger& logger) {
  AtSecond(9, 1);
  logger.Log("sample.cpp", 20, "Cut", " ", "", INFO, "%s", std::string(3000, 'x').c_str());
  AtSecond(9, 2);
  logger.Log("sample.cpp", 21, "After", " ", "", WARN, "after the cut");
  AtSecond(9, 3);
  std::string accents = "abc\n";
  for (int i = 0; i < 1500; ++i) accents += "\u00e9";
  logger.Log("sample.cpp", 22, "Cut", " ", "", ERROR, "%s", accents.c_str());
  AtSecond(9, 4);
  logger.Log("sample.cpp", 23, "Cut", " ", "", FATAL, "%s", std::string(2500, 'y').c_str());
  AtSecond(9, 5);
  logger.Log("sample.cpp", 24, "After", std::string(3000, 't').c_str(), "", ERROR, "not seen");
  AtSecond(9, 6);
  logger.Log("sample.cpp", 25, "After", " ", "", INFO,
             "it quoted [demo] [2026-01-05 09:03:07.042] [1234] [INFO] [a.cpp:1] [f]: text");
}

bool Start(ZinLogger& logger, const char* directory) {
  return logger.StartSystem("app.log", directory, 5, 10, static_cast<LogLevel>(9), 1000, true);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: view_samples DIRECTORY\n", stderr);
    return 2;
  }
  ZinLogger& logger = *ZinLogger::GetInstance();
  AtSecond(7, 0);
  if (!Start(logger, argv[1])) {
    std::fputs("view_samples: the directory was refused\n", stderr);
    return 1;
  }
  LevelsTagsAndSources(logger);
  CutRecords(logger);
  FakeIds::SetThreadId(99);
  AtSecond(10, 0);
  std::thread([&] { logger.Log("sample.cpp", 30, "Run", " ", "", INFO, "another thread"); }).join();
  FakeIds::SetThreadId(1234);
  // The last record of a file is cut; what follows is the beginning of another.
  AtSecond(11, 0);
  logger.SetLogLevel(ERROR);  // silences the line that the stop would add
  logger.Log("sample.cpp", 31, "Last", " ", "", ERROR, "%s", std::string(3000, 'z').c_str());
  logger.StopSystem();

  AtSecond(12, 0);
  (void)Start(logger, argv[1]);  // accepted before
  AtSecond(12, 500);
  logger.Log("sample.cpp", 40, "main", " ", "", INFO, "in a new file");
  logger.StopSystem();
  return 0;
}
