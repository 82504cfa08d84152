#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "CapturedStandardError.h"
#include "FailingCalls.h"
#include "LogFileWriter.h"
#include "Retention.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint64_t noByteLimit = ~std::uint64_t{0};

std::string Removal(const std::string& path) {
  return "remove " + path;
}

TEST(TrimFaults, RemoveTheOldestFirst) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 300}, {"b.log", 100}, {"c.log", 200}, {"d.log", 400}});
  const FailingCalls calls;

  TrimDirToLimits(files, 4, 2, 0, noByteLimit);

  EXPECT_THAT(calls.Of({"remove"}),
              ElementsAre(Removal(files[1]), Removal(files[2]), Removal(files[0])));
}

TEST(TrimFaults, AFileThatCannotBeRemovedCountsAsDone) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100}, {"b.log", 200}, {"c.log", 300}, {"d.log", 400}});
  const CapturedStandardError error;
  FailingCalls calls;
  calls.Fail("remove", EACCES, 1);

  TrimDirToLimits(files, 4, 3, 0, noByteLimit);

  EXPECT_THAT(calls.Of({"remove"}), ElementsAre(Removal(files[0]), Removal(files[1])));
  EXPECT_THAT(dir.Names(), ElementsAre("a.log", "c.log", "d.log"));
  EXPECT_EQ(error.Text(), "");
}

TEST(TrimFaults, NothingIsRemovedWhenTheMaximumIsMetExactly) {
  const ScratchDir dir;
  const auto files = dir.AddLogs({{"a.log", 100, 5}, {"b.log", 200, 5}});
  const FailingCalls calls;

  TrimDirToLimits(files, 2, 2, 10, 10);

  EXPECT_THAT(calls.Of({"remove"}), IsEmpty());
}

TEST(TrimFaults, AFileThatVanishesBeforeItsSizeIsReadFreesNothing) {
  const ScratchDir dir;
  const auto files =
      dir.AddLogs({{"a.log", 100, MiB(2)}, {"b.log", 200, MiB(2)}, {"c.log", 300, MiB(2)}});
  FailingCalls calls;
  calls.Fail("stat", ENOENT, 4);  // three for the times, then the oldest one's size

  TrimDirToLimits(files, 3, 3, MiB(6), MiB(5));

  // 2 MiB are to go, and only the second file brings any.
  EXPECT_THAT(dir.Names(), ElementsAre("c.log"));
}

TEST(RetentionPassFaults, FilesThatVanishDuringAPassAreLeftOut) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 100}, {"b.log", 200}});
  FailingCalls calls;
  calls.FailFrom("stat", ENOENT, 3);  // they are listed, and then gone

  RunRetentionPass(dir.Path(), {0, 0});

  EXPECT_THAT(calls.Of({"remove"}), IsEmpty());
}

TEST(RetentionPassFaults, ADirectoryThatCannotBeReadCountsAsEmpty) {
  const ScratchDir dir;
  dir.AddLogs({{"a.log", 100, 5}, {"b.log", 200, 5}});
  const CapturedStandardError error;
  FailingCalls calls;
  calls.FailFrom("opendir", EACCES);

  RunRetentionPass(dir.Path(), {0, 0});

  EXPECT_THAT(calls.Record(), ElementsAre("opendir " + dir.Path()));
  EXPECT_EQ(error.Text(), "");
}

TEST(ExcessFaults, AFileThatCannotBeRemovedCountsAsDone) {
  const ScratchDir dir;
  for (const char* const name : {"app_1.log", "app_2.log", "app_3.log"}) dir.Write(name, "");
  const LogFileWriter writer("app.log", dir.Path(), 1, MiB(1));
  const CapturedStandardError error;
  FailingCalls calls;
  calls.Fail("remove", EACCES, 1);

  RemoveExcessRotatedFiles(writer, "");

  EXPECT_THAT(calls.Of({"remove"}),
              ElementsAre(Removal(dir / "app_1.log"), Removal(dir / "app_2.log")));
  EXPECT_THAT(dir.Names(), ElementsAre("app_1.log", "app_3.log"));
  EXPECT_EQ(error.Text(), "");
}

TEST(ExcessFaults, FilesAreRemovedEvenWhenTheNewLiveFileCannotBeOpened) {
  const ScratchDir dir;
  for (const char* const name : {"app_1.log", "app_2.log"}) dir.Write(name, "");
  FailingCalls calls;
  calls.UseNoAccount();
  LogFileWriter writer("app.log", dir.Path(), 0, 0);
  writer.OpenFile("");
  calls.FailFrom("open", EMFILE);

  writer.WriteLine("", "line\n");

  EXPECT_THAT(writer.openFiles, IsEmpty());
  EXPECT_THAT(calls.Of({"remove"}),
              ElementsAre(Removal(dir / "app_1.log"), Removal(dir / "app_2.log")));
}

TEST(ExcessFaults, NoNegativeKeepCountRemovesMoreThanThereIs) {
  const ScratchDir dir;
  const LogFileWriter writer("app.log", dir.Path(), -5, MiB(1));
  const FailingCalls calls;

  RemoveExcessRotatedFiles(writer, "");

  EXPECT_THAT(calls.Of({"remove"}), IsEmpty());
}

}  // namespace
