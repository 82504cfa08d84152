#include "Scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "Text.h"
#include "WaitUntilTrue.h"

namespace {
constexpr unsigned noLimit = 1000000;
}

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

void StartLogChannel(const ScratchDir& dir, const Start& start) {
  Logger().LimitLogPathSize(noLimit, noLimit);
  ASSERT_TRUE(Logger().StartSystem(start.fileName, dir.Path().c_str(), start.keepFiles,
                                   start.fileSizeMiB, start.level, start.queueCapacity, true));
}

void StartMetricsChannel(const std::string& directory, const Start& start) {
  Logger().LimitMetricsPathSize(noLimit, noLimit);
  ASSERT_TRUE(Logger().StartSystemForMetrics("metrics.log", directory.c_str(), start.keepFiles,
                                             start.fileSizeMiB, start.queueCapacity, false));
}

void LogLine(const std::string& message, const char* subDirKey, LogLevel level) {
  Logger().Log("Scenario.cpp", 1, "Scenario", " ", subDirKey, level, "%s", message.c_str());
}

bool FileHolds(const ScratchDir& dir, const std::string& name, const std::string& text) {
  // Not by ScratchDir::Read: a worker may rename the file at this moment.
  std::ostringstream content;
  content << std::ifstream(dir / name).rdbuf();
  return content.str().find(text) != std::string::npos;
}

void LogLineAndWait(const ScratchDir& dir, const std::string& message) {
  LogLine(message);
  ASSERT_TRUE(WaitUntilTrue([&] { return FileHolds(dir, "app.log", message + "\n"); }));
}

std::vector<std::string> OwnMessages(const std::vector<std::string>& lines) {
  std::vector<std::string> own;
  for (const std::string& line : lines) {
    const bool isOwn = line.find("] [Scenario]: ") != std::string::npos ||
                       line.find("] [Probe]: ") != std::string::npos;
    if (isOwn) own.push_back(MessageOf(line));
  }
  return own;
}

std::vector<std::string> OwnMessages(const ScratchDir& dir, const std::string& name) {
  return OwnMessages(dir.LinesOf(name));
}

std::vector<std::string> OwnMessagesOfAllFiles(const ScratchDir& dir) {
  std::vector<std::string> files = RotatedNames(dir, "app");
  if (dir.Has("app.log")) files.emplace_back("app.log");
  std::vector<std::string> all;
  for (const std::string& file : files) {
    const std::vector<std::string> messages = OwnMessages(dir, file);
    all.insert(all.end(), messages.begin(), messages.end());
  }
  return all;
}

std::vector<std::string> RotatedNames(const ScratchDir& dir, const std::string& stem) {
  // Seventeen digits of time, three of sequence, the process id.
  const auto rotated =
      testing::MatchesRegex(stem + "_[0-9]{17}-[0-9]{3}-" + std::to_string(getpid()) + "\\.log");
  std::vector<std::string> names = dir.Names();
  std::erase_if(names, [&](const std::string& name) { return !testing::Value(name, rotated); });
  return names;
}

std::vector<std::string> NumberedLines(int count) {
  std::vector<std::string> lines;
  for (int i = 1; i <= count; ++i) lines.push_back("line " + std::to_string(i));
  return lines;
}

void LogNumberedLines(int count) {
  for (const std::string& line : NumberedLines(count)) LogLine(line);
}
