// Descriptors of log files that take nothing any more.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "FailingCalls.h"
#include "LogFileWriter.h"
#include "OpenDescriptors.h"
#include "ScratchDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::int64_t keepAll = 1000;

// The clock stands at 2026-01-05 09:03:07.042 in process 4711.
std::string Rotated(const std::string& sequence) {
  return "app_20260105090307042-" + sequence + "-4711.log";
}

class DeadDescriptor : public ::testing::Test {
 protected:
  DeadDescriptor() { calls.UseNoAccount(); }

  void WriteLines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) writer.WriteLine("", line);
  }

  const ScratchDir dir;
  FailingCalls calls;
  LogFileWriter writer{"app.log", dir.Path(), keepAll, 1000};
};

// ---- What the descriptor stood for is gone ----------------------------------

class GoneForGood : public DeadDescriptor, public ::testing::WithParamInterface<int> {};

TEST_P(GoneForGood, CostsNoLine) {
  calls.Fail("write", GetParam(), 2);

  WriteLines({"one\n", "two\n", "three\n"});

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("000")));
  EXPECT_EQ(dir.Read(Rotated("000")), "one\n");
  EXPECT_EQ(dir.Read("app.log"), "two\nthree\n");
}

INSTANTIATE_TEST_SUITE_P(DeadDescriptor, GoneForGood,
                         ::testing::Values(ESTALE, ENODEV, ENXIO, ENOTCONN, ECONNABORTED,
                                           ESHUTDOWN),
                         [](const ::testing::TestParamInfo<int>& error) {
                           return "WithError" + std::to_string(error.param);
                         });

TEST_F(DeadDescriptor, IsFollowedByAFileThatIsCountedFromZero) {
  calls.Fail("write", ESTALE, 2);

  WriteLines({"one\n", "three\n"});

  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 6u);
}

TEST_F(DeadDescriptor, IsFollowedByAFileThatRotatesAsAnyOther) {
  calls.Fail("write", ESTALE, 2);
  const std::string longLine(1001, 'x');

  WriteLines({"one\n", longLine});

  EXPECT_EQ(dir.Read(Rotated("000")), "one\n");
  EXPECT_EQ(dir.Read(Rotated("001")), longLine);
  EXPECT_EQ(dir.Read("app.log"), "");
}

// As a first line does; the rotation by size that comes next trims.
TEST_F(DeadDescriptor, RemovesNoRotatedFile) {
  LogFileWriter keepsNone("app.log", dir.Path(), 0, 1000);
  calls.Fail("write", ESTALE, 2);

  keepsNone.WriteLine("", "one\n");
  keepsNone.WriteLine("", "two\n");

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("000")));
}

TEST_F(DeadDescriptor, GetsTheWholeLineWrittenAgain) {
  calls.ShortenWrite(2, 1);
  calls.Fail("write", ESTALE, 2);

  WriteLines({"one\n"});

  EXPECT_EQ(dir.Read(Rotated("000")), "on");
  EXPECT_EQ(dir.Read("app.log"), "one\n");
}

TEST_F(DeadDescriptor, CostsTheLineWhenNoNewFileCanBeOpened) {
  calls.Fail("write", ESTALE, 2);
  calls.Fail("open", EMFILE, 4);  // for reading and for writing, and again

  WriteLines({"one\n", "two\n"});
  EXPECT_THAT(writer.openFiles, IsEmpty());
  WriteLines({"three\n"});

  EXPECT_EQ(dir.Read("app.log"), "three\n");
}

// Each time moves a file aside, if only an empty one.
TEST_F(DeadDescriptor, IsReplacedEverMoreRarelyWhenTheNewOneIsNoBetter) {
  calls.FailFrom("write", ESTALE);

  WriteLines(std::vector<std::string>(20, "lost\n"));

  // With the lines 1, 2, 4, 8 and 16, which are tried twice.
  EXPECT_THAT(calls.Of({"renameat2"}), SizeIs(5));
  EXPECT_THAT(calls.Of({"write"}), SizeIs(25));
  EXPECT_EQ(writer.openFiles.at("")->bytesWritten, 25u);  // from line 16 on
}

TEST_F(DeadDescriptor, IsReplacedAtOnceAgainAfterALineThatWasTaken) {
  calls.Fail("write", ESTALE, 1);  // and "one" again
  calls.Fail("write", ESTALE, 3);  // and "two" again
  calls.Fail("write", ESTALE, 5);

  WriteLines({"one\n", "two\n", "three\n"});

  EXPECT_EQ(dir.Read(Rotated("001")), "one\n");
  EXPECT_EQ(dir.Read(Rotated("002")), "two\n");
  EXPECT_EQ(dir.Read("app.log"), "three\n");
}

// ---- Faults that may pass ---------------------------------------------------

TEST_F(DeadDescriptor, IsNotMadeOfAFaultThatPasses) {
  for (int line = 2; line <= 16; ++line) calls.Fail("write", EIO, line);

  WriteLines({"one\n"});
  WriteLines(std::vector<std::string>(15, "lost\n"));
  WriteLines({"two\n"});

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\n");
}

TEST_F(DeadDescriptor, IsMadeOfAFaultThatStays) {
  for (int line = 2; line <= 17; ++line) calls.Fail("write", EIO, line);

  WriteLines({"one\n"});
  WriteLines(std::vector<std::string>(15, "lost\n"));
  WriteLines({"two\n", "three\n"});

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated("000")));
  EXPECT_EQ(dir.Read("app.log"), "two\nthree\n");
}

TEST_F(DeadDescriptor, IsNotMadeOfFaultsWithGoodLinesBetween) {
  for (int line = 2; line <= 80; line += 2) calls.Fail("write", EIO, line);

  WriteLines(std::vector<std::string>(80, "line\n"));

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
}

TEST_F(DeadDescriptor, IsNotMadeOfADiskThatStaysFull) {
  calls.FailFrom("write", ENOSPC);

  WriteLines(std::vector<std::string>(100, "lost\n"));

  EXPECT_THAT(dir.Names(), ElementsAre("app.log"));
  EXPECT_THAT(calls.Of({"open"}), SizeIs(2));
}

// ---- The program closes what is not its own ---------------------------------

class ClosedByTheProgram : public ::testing::Test {
 protected:
  ClosedByTheProgram() { calls.UseNoAccount(); }

  int DescriptorOf(const std::string& name) const {
    const auto descriptors = DescriptorsOf(dir / name);
    EXPECT_THAT(descriptors, SizeIs(1));
    return descriptors.empty() ? -1 : descriptors.front();
  }

  // Closes the descriptor of a log file. What the program opens next has its
  // number.
  void GiveAway(const std::string& name, int flags) {
    number = DescriptorOf(name);
    ASSERT_GE(number, 0);
    dir.Write("foreign", "");
    const int foreign = open((dir / "foreign").c_str(), flags | O_CLOEXEC);
    ASSERT_EQ(dup3(foreign, number, O_CLOEXEC), number);
    (void)close(foreign);
  }

  bool IsForeignStillOpen() const {
    return DescriptorsOf(dir / "foreign") == std::vector<int>{number};
  }

  const ScratchDir dir;
  FailingCalls calls;
  std::unique_ptr<LogFileWriter> writer =
      std::make_unique<LogFileWriter>("app.log", dir.Path(), keepAll, MiB(1));
  int number = -1;
};

TEST_F(ClosedByTheProgram, CostsNoLine) {
  writer->WriteLine("", "one\n");
  (void)close(DescriptorOf("app.log"));

  writer->WriteLine("", "two\n");
  writer->WriteLine("", "three\n");

  EXPECT_EQ(dir.Read(Rotated("000")), "one\n");
  EXPECT_EQ(dir.Read("app.log"), "two\nthree\n");
}

// The first one that is opened anew gets the number that another one had.
TEST_F(ClosedByTheProgram, MixesNoFiles) {
  for (const char* const key : {"a", "b", "c"}) writer->WriteLine(key, "one\n");
  const int first = DescriptorOf("a/app.log");
  for (const char* const name : {"a/app.log", "b/app.log", "c/app.log"}) {
    (void)close(DescriptorOf(name));
  }

  for (const char* const key : {"c", "b", "a"}) {
    writer->WriteLine(key, std::string("two of ") + key + "\n");
  }

  EXPECT_EQ(DescriptorOf("c/app.log"), first);
  EXPECT_EQ(dir.Read("a/app.log"), "two of a\n");
  EXPECT_EQ(dir.Read("b/app.log"), "two of b\n");
  EXPECT_EQ(dir.Read("c/app.log"), "two of c\n");
}

// Nor when only one of them is looked at before its number is taken again.
TEST_F(ClosedByTheProgram, MixesNoFilesThatAreLookedAtOneByOne) {
  calls.LetTimePass(0);
  writer->WriteLine("a", "one\n");
  calls.LetTimePass(5);
  writer->WriteLine("b", "one\n");
  const int numberOfB = DescriptorOf("b/app.log");
  GiveAway("a/app.log", O_WRONLY);
  (void)close(numberOfB);
  calls.LetTimePass(6);

  writer->WriteLine("a", "two of a\n");
  writer->WriteLine("b", "two of b\n");

  EXPECT_EQ(DescriptorOf("a/app.log"), numberOfB);
  EXPECT_EQ(dir.Read("a/app.log"), "two of a\n");
  EXPECT_EQ(dir.Read("b/app.log"), "two of b\n");
}

TEST_F(ClosedByTheProgram, CostsNoLineAndNoForeignDescriptorWhenThatRefusesToBeWritten) {
  writer->WriteLine("", "one\n");
  GiveAway("app.log", O_RDONLY);

  writer->WriteLine("", "two\n");
  EXPECT_EQ(dir.Read("app.log"), "two\n");
  writer.reset();

  EXPECT_TRUE(IsForeignStillOpen());
}

// Before every line a look would be too dear.
TEST_F(ClosedByTheProgram, WritesIntoAForeignFileForAMomentAtMost) {
  writer->WriteLine("", "one\n");
  GiveAway("app.log", O_WRONLY);
  std::vector<std::string> written;

  // A line that comes a second later is too late, whatever the machine does.
  using Clock = std::chrono::steady_clock;
  for (auto first = Clock::now(); !dir.Has(Rotated("000"));) {
    const bool isLast = Clock::now() - first > std::chrono::seconds(1);
    written.push_back("line " + std::to_string(written.size()) + "\n");
    writer->WriteLine("", written.back());
    if (isLast) break;
  }

  ASSERT_TRUE(dir.Has(Rotated("000")));
  EXPECT_EQ(dir.Read(Rotated("000")), "one\n");
  EXPECT_EQ(dir.Read("app.log"), written.back());
  written.pop_back();
  std::string foreign;
  for (const std::string& line : written) foreign += line;
  EXPECT_EQ(dir.Read("foreign"), foreign);
  writer.reset();
  EXPECT_TRUE(IsForeignStillOpen());
}

TEST_F(ClosedByTheProgram, LeavesTheForeignDescriptorOpenWhenItRotates) {
  writer->WriteLine("", "one\n");
  GiveAway("app.log", O_WRONLY);

  writer->OpenFile("");

  EXPECT_TRUE(IsForeignStillOpen());
  EXPECT_EQ(dir.Read(Rotated("000")), "one\n");
}

TEST_F(ClosedByTheProgram, LeavesTheForeignDescriptorOpenAtTheEnd) {
  writer->WriteLine("", "one\n");
  GiveAway("app.log", O_WRONLY);

  writer.reset();

  EXPECT_TRUE(IsForeignStillOpen());
}

}  // namespace
