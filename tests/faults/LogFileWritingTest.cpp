#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "FailingCalls.h"
#include "LogFileWriter.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr std::int64_t keepAll = 1000;
constexpr const char* rotated = "app_20260105090307042-000-4711.log";

class FailingWrites : public ::testing::Test {
 protected:
  FailingWrites() { calls.UseNoAccount(); }

  void WriteLines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) writer.WriteLine("", line);
  }

  const ScratchDir dir;
  FailingCalls calls;
  LogFileWriter writer{"app.log", dir.Path(), keepAll, 20};
};

TEST_F(FailingWrites, NoneOfThemIsTheUsualCaseAndEveryLineIsOneWrite) {
  WriteLines({"one\n", "three\n"});

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 4", "write 6"));
}

TEST_F(FailingWrites, LoseExactlyTheLineThatFoundTheDiskFull) {
  calls.Fail("write", ENOSPC, 2);

  WriteLines({"one\n", "two\n", "three\n"});

  EXPECT_EQ(dir.Read("app.log"), "one\nthree\n");
}

TEST_F(FailingWrites, LoseEveryLineWhileTheDiskIsFull) {
  calls.Fail("write", ENOSPC, 1);
  calls.Fail("write", ENOSPC, 2);

  WriteLines({"one\n", "two\n", "three\n"});

  EXPECT_EQ(dir.Read("app.log"), "three\n");
}

TEST_F(FailingWrites, AreNotTriedAgainForTheSameLine) {
  calls.FailFrom("write", EIO);

  WriteLines({"one\n", "two\n"});

  EXPECT_THAT(calls.Of({"write"}), SizeIs(2));
}

TEST_F(FailingWrites, CountAsIfTheyHadSucceeded) {
  calls.Fail("write", ENOSPC, 1);

  WriteLines({"12345\n"});
  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 6u);
  WriteLines({"6789012345\n"});
  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 17u);
}

TEST_F(FailingWrites, TakeAFileToItsRotation) {
  calls.Fail("write", ENOSPC, 2);

  WriteLines({"first\n", "this line is lost\n", "next\n"});

  // 6 + 18 is more than 20, although the file holds 6 bytes.
  EXPECT_EQ(dir.Read(rotated), "first\n");
  EXPECT_EQ(dir.Read("app.log"), "next\n");
}

TEST_F(FailingWrites, AreContinuedWhenTheKernelTookAPart) {
  calls.ShortenWrite(2, 1);

  WriteLines({"one\n", "two\n"});

  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\n");
  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 4", "write 2", "write 4"));
}

TEST_F(FailingWrites, GoOnWhenTheKernelTakesASingleByte) {
  calls.ShortenWrite(1, 1);

  WriteLines({"one\n", "two\n"});

  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\n");
}

TEST_F(FailingWrites, LeaveThePartThatWasTakenAndNothingOfTheRest) {
  calls.ShortenWrite(3, 1);
  calls.Fail("write", ENOSPC, 2);

  WriteLines({"12345\n", "next\n"});

  EXPECT_EQ(dir.Read("app.log"), "123next\n");
}

TEST_F(FailingWrites, EndTheLineWhenTheKernelTakesNothingAndGivesNoReason) {
  calls.ShortenWrite(0, 1);

  WriteLines({"12345\n", "next\n"});

  EXPECT_EQ(dir.Read("app.log"), "next\n");
  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 6", "write 5"));
}

TEST_F(FailingWrites, AreRepeatedAfterASignal) {
  calls.Fail("write", EINTR, 1);
  calls.Fail("write", EINTR, 2);

  WriteLines({"one\n", "two\n"});

  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\n");
}

TEST_F(FailingWrites, DoNotMakeTheFileReopen) {
  calls.Fail("write", ENOSPC, 1);

  WriteLines({"one\n", "two\n"});

  EXPECT_THAT(calls.Of({"open"}), SizeIs(2));  // one for reading, one for writing
}

}  // namespace
