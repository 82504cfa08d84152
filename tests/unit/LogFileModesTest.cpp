#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "LogFileWriter.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"

namespace {

// The clock stands at 2026-01-05 09:03:07.042 in process 4711.
constexpr const char* rotated = "app_20260105090307042-000-4711.log";

mode_t ModeUnderUmask(mode_t mask, const std::string& subDirectory,
                      const std::string& fileName = "app.log") {
  const ScratchDir dir;
  const ScopedUmask scoped(mask);
  LogFileWriter writer(fileName, dir.Path(), 5, MiB(1));
  writer.WriteLine(subDirectory, "line\n");
  return dir.ModeOf((subDirectory.empty() ? "" : subDirectory + "/") + fileName);
}

TEST(LogFileModes, Are0640WhateverTheUmask) {
  for (const mode_t mask : {0u, 022u, 077u}) EXPECT_EQ(ModeUnderUmask(mask, ""), 0640u) << mask;
}

TEST(LogFileModes, Are0660UnderAPathWithMetricsWhateverTheUmask) {
  for (const mode_t mask : {0u, 022u, 077u}) {
    EXPECT_EQ(ModeUnderUmask(mask, "metrics"), 0660u) << mask;
  }
}

TEST(LogFileModes, Are0660WhereverMetricsStandsInTheDirectory) {
  EXPECT_EQ(ModeUnderUmask(022, "old-metrics-2/inner"), 0660u);
}

TEST(LogFileModes, Are0660WhenTheChannelsOwnDirectoryHoldsMetrics) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir / "metrics/demo", 5, MiB(1));

  writer.WriteLine("", "line\n");
  writer.WriteLine("net", "line\n");

  EXPECT_EQ(dir.ModeOf("metrics/demo/app.log"), 0660u);
  EXPECT_EQ(dir.ModeOf("metrics/demo/net/app.log"), 0660u);
}

TEST(LogFileModes, DoNotDependOnTheFileName) {
  EXPECT_EQ(ModeUnderUmask(022, "", "metrics.log"), 0640u);
}

TEST(LogFileModes, TellUpperFromLowerCase) {
  EXPECT_EQ(ModeUnderUmask(022, "Metrics"), 0640u);
}

TEST(LogFileModes, AreSetForEveryNewFile) {
  const ScratchDir dir;
  const ScopedUmask strict(077);
  LogFileWriter writer("app.log", dir.Path(), 5, 0);

  writer.WriteLine("", "one\n");
  writer.WriteLine("metrics", "two\n");

  EXPECT_EQ(dir.ModeOf("app.log"), 0640u);
  EXPECT_EQ(dir.ModeOf("metrics/app.log"), 0660u);
}

TEST(LogFileModes, StayWithTheFileWhenItIsRotated) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir.Path(), 5, 0);

  writer.WriteLine("", "line\n");

  EXPECT_EQ(dir.ModeOf(rotated), 0640u);
}

TEST(LogFileModes, StayWithAMetricsFileWhenItIsRotated) {
  const ScratchDir dir;
  LogFileWriter writer("app.log", dir / "metrics", 5, 0);

  writer.WriteLine("", "line\n");

  EXPECT_EQ(dir.ModeOf(std::string("metrics/") + rotated), 0660u);
}

TEST(LogFileModes, StayAsTheyWereWithAFileOfAnEarlierRun) {
  const ScratchDir dir;
  dir.Write("app.log", "earlier\n");
  ASSERT_EQ(chmod((dir / "app.log").c_str(), 0604), 0);
  LogFileWriter writer("app.log", dir.Path(), 5, MiB(1));

  writer.WriteLine("", "line\n");

  EXPECT_EQ(dir.ModeOf(rotated), 0604u);
  EXPECT_EQ(dir.ModeOf("app.log"), 0640u);
}

TEST(LogFileModes, Are0750ForDirectories) {
  const ScratchDir dir;
  const ScopedUmask none(0);
  LogFileWriter writer("app.log", dir / "log", 5, MiB(1));

  writer.WriteLine("metrics", "line\n");

  EXPECT_EQ(dir.ModeOf("log"), 0750u);
  EXPECT_EQ(dir.ModeOf("log/metrics"), 0750u);
}

}  // namespace
