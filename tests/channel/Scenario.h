#ifndef ZIN_TEST_SCENARIO_H
#define ZIN_TEST_SCENARIO_H

#include <string>
#include <vector>

#include "ScratchDir.h"
#include "ZinLogger.h"

constexpr unsigned long plenty = 1000000;  // a queue that is never full
constexpr int keepAll = 100000;

ZinLogger& Logger();

// How a scenario starts its log channel, unless it says otherwise.
struct Start {
  const char* fileName = "app.log";
  int keepFiles = keepAll;
  int fileSizeMiB = 100;
  LogLevel level = INFO;
  unsigned long queueCapacity = plenty;
};

// Starts the log channel on `dir`, and takes the limits of the directory so
// high that no retention pass interferes.
void StartLogChannel(const ScratchDir& dir, const Start& start = {});

// The same for the metrics channel, with file metrics.log and "log" not asked
// for in the directory.
void StartMetricsChannel(const std::string& directory, const Start& start = {});

// Logs a line that OwnMessages finds again.
void LogLine(const std::string& message, const char* subDirKey = "", LogLevel level = INFO);

// Whether the file is there and holds the text by now.
bool FileHolds(const ScratchDir& dir, const std::string& name, const std::string& text);

// Logs a line and waits until it is in its file: what the library says about a
// file that it opens is behind us then.
void LogLineAndWait(const ScratchDir& dir, const std::string& message);

// The messages of the lines that LogLine wrote, here or in a probe: the library may have logged
// about itself in between.
std::vector<std::string> OwnMessages(const std::vector<std::string>& lines);
std::vector<std::string> OwnMessages(const ScratchDir& dir, const std::string& name);

// Those of the rotated files, oldest first, and of app.log.
std::vector<std::string> OwnMessagesOfAllFiles(const ScratchDir& dir);

// Names that a file "<stem>.log" of this process was rotated to, oldest first.
std::vector<std::string> RotatedNames(const ScratchDir& dir, const std::string& stem);

// "line 1" to "line <count>".
std::vector<std::string> NumberedLines(int count);
void LogNumberedLines(int count);

#endif  // ZIN_TEST_SCENARIO_H
