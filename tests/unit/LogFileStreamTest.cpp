#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "LogFileStream.h"
#include "OpenDescriptors.h"
#include "ProcessSettings.h"
#include "ScratchDir.h"
#include "Surroundings.h"

namespace {

using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::IsEmpty;
using ::testing::SizeIs;
namespace fs = std::filesystem;

// ---- Opening ------------------------------------------------------------

TEST(LogFileStream, CreatesAnEmptyFile) {
  const ScratchDir dir;

  EXPECT_NE(LogFileStream::Open(dir / "app.log"), nullptr);

  EXPECT_EQ(dir.Read("app.log"), "");
}

TEST(LogFileStream, EmptiesAFileThatExists) {
  const ScratchDir dir;
  dir.Write("app.log", "of an earlier run");

  (void)LogFileStream::Open(dir / "app.log");

  EXPECT_EQ(dir.Read("app.log"), "");
}

TEST(LogFileStream, WritesAndDoesNotAppend) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  const auto stream = LogFileStream::Open(dir / "app.log");

  const auto descriptors = DescriptorsOf(dir / "app.log");

  ASSERT_THAT(descriptors, SizeIs(1));
  EXPECT_EQ(fcntl(descriptors[0], F_GETFL) & (O_ACCMODE | O_APPEND), O_WRONLY);
}

TEST(LogFileStream, RefusesAFileThatExistsWhenAskedTo) {
  const ScratchDir dir;
  dir.Write("app.log", "of another worker");

  errno = 0;
  const auto stream = LogFileStream::Open(dir / "app.log", LogFileStream::Existing::Refuse);
  const int error = errno;

  EXPECT_EQ(stream, nullptr);
  EXPECT_EQ(error, EEXIST);
  EXPECT_EQ(dir.Read("app.log"), "of another worker");
  EXPECT_NE(LogFileStream::Open(dir / "new.log", LogFileStream::Existing::Refuse), nullptr);
}

TEST(LogFileStream, CreatesTheFileWithMode0640FromTheStart) {
  const ScratchDir dir;
  const ScopedUmask none(0);

  (void)LogFileStream::Open(dir / "app.log");

  EXPECT_EQ(dir.ModeOf("app.log"), 0640u);
}

TEST(LogFileStream, IsNullForAFileThatCannotBeOpened) {
  const ScratchDir dir;
  fs::create_directory(dir / "directory.log");

  EXPECT_EQ(LogFileStream::Open(dir / "missing/app.log"), nullptr);
  EXPECT_EQ(LogFileStream::Open(dir / "directory.log"), nullptr);
}

TEST(LogFileStream, HoldsNoDescriptorAfterAFailedOpen) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  const long before = OpenDescriptorCount();

  (void)LogFileStream::Open(dir / "missing/app.log");

  EXPECT_EQ(OpenDescriptorCount(), before);
}

TEST(LogFileStream, ClosesItsDescriptorWhenItGoes) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  const long before = OpenDescriptorCount();

  auto stream = LogFileStream::Open(dir / "app.log");
  EXPECT_THAT(DescriptorsOf(dir / "app.log"), SizeIs(1));
  EXPECT_EQ(OpenDescriptorCount(), before + 1);
  stream.reset();

  EXPECT_THAT(DescriptorsOf(dir / "app.log"), IsEmpty());
  EXPECT_EQ(OpenDescriptorCount(), before);
}

TEST(LogFileStream, IsClosedOnExec) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  const auto stream = LogFileStream::Open(dir / "app.log");

  const auto descriptors = DescriptorsOf(dir / "app.log");

  ASSERT_THAT(descriptors, SizeIs(1));
  EXPECT_EQ(fcntl(descriptors[0], F_GETFD), FD_CLOEXEC);
}

// ---- A process without standard streams ---------------------------------

// Runs `body` in a child process and returns what it returned.
int ResultInChild(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status);
}

int DescriptorWithout(const std::vector<int>& closedDescriptors) {
  return ResultInChild([&] {
    const ScratchDir dir;
    for (const int descriptor : closedDescriptors) (void)close(descriptor);
    const auto stream = LogFileStream::Open(dir / "app.log");
    const auto descriptors = DescriptorsOf(dir / "app.log");
    return descriptors.size() == 1 ? descriptors[0] : -1;
  });
}

TEST(LogFileStream, IsNeverAStandardDescriptor) {
  SKIP_IF(WhyNoProc());
  EXPECT_THAT(DescriptorWithout({0}), Gt(2));
  EXPECT_THAT(DescriptorWithout({1}), Gt(2));
  EXPECT_THAT(DescriptorWithout({2}), Gt(2));
  EXPECT_THAT(DescriptorWithout({0, 2}), Gt(2));
  EXPECT_THAT(DescriptorWithout({0, 1, 2}), Gt(2));
}

TEST(LogFileStream, LeavesClosedStandardDescriptorsClosed) {
  const int stillClosed = ResultInChild([] {
    const ScratchDir dir;
    for (const int descriptor : {0, 1, 2}) (void)close(descriptor);
    const auto stream = LogFileStream::Open(dir / "app.log");
    int count = 0;
    for (const int descriptor : {0, 1, 2}) count += fcntl(descriptor, F_GETFD) < 0 ? 1 : 0;
    return count;
  });

  EXPECT_EQ(stillClosed, 3);
}

// ---- Writing ------------------------------------------------------------

TEST(LogFileStream, HandsEveryTextOverAtOnce) {
  const ScratchDir dir;
  const auto stream = LogFileStream::Open(dir / "app.log");

  stream->Write("one\n");
  EXPECT_EQ(dir.Read("app.log"), "one\n");
  stream->Write("two");
  EXPECT_EQ(dir.Read("app.log"), "one\ntwo");
}

TEST(LogFileStream, WritesAllBytesAsTheyStand) {
  const ScratchDir dir;
  const auto stream = LogFileStream::Open(dir / "app.log");
  const std::string text("a\0b\r\n\xff", 6);

  stream->Write(text);
  stream->Write("");

  EXPECT_EQ(dir.Read("app.log"), text);
}

TEST(LogFileStream, WritesATextOfManyMebibytesWhole) {
  const ScratchDir dir;
  const auto stream = LogFileStream::Open(dir / "app.log");
  const std::string text(MiB(5) + 1, 'x');

  stream->Write(text);

  EXPECT_EQ(dir.Read("app.log"), text);
}

// As after two GiB of lines, which nobody wants to wait for: the file has a hole.
TEST(LogFileStream, WritesOnBeyondTwoGibibytes) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  const auto stream = LogFileStream::Open(dir / "app.log");
  const auto descriptors = DescriptorsOf(dir / "app.log");
  ASSERT_THAT(descriptors, SizeIs(1));
  const auto justBefore = static_cast<off_t>(MiB(2048)) - 5;
  ASSERT_EQ(lseek(descriptors[0], justBefore, SEEK_SET), justBefore);

  stream->Write("one of ten");
  stream->Write("more\n");

  EXPECT_EQ(dir.SizeOf("app.log"), 2147483658u);
}

TEST(LogFileStream, EmptiesAFileOfThreeGibibytes) {
  const ScratchDir dir;
  dir.AddLogs({{"app.log", 1000000000, MiB(3072)}});

  EXPECT_NE(LogFileStream::Open(dir / "app.log"), nullptr);

  EXPECT_EQ(dir.SizeOf("app.log"), 0u);
}

TEST(LogFileStream, SurvivesAFullDisk) {
  const auto stream = LogFileStream::Open("/dev/full");
  ASSERT_NE(stream, nullptr);

  stream->Write("lost\n");
  stream->Write("lost, too\n");
}

// ---- Reading ------------------------------------------------------------

TEST(IsReadable, TellsWhetherAFileCanBeOpened) {
  SKIP_IF(WhyNoProc());
  const ScratchDir dir;
  dir.Write("app.log", "text");
  const long before = OpenDescriptorCount();

  EXPECT_TRUE(IsReadable(dir / "app.log"));
  EXPECT_FALSE(IsReadable(dir / "missing.log"));

  EXPECT_EQ(OpenDescriptorCount(), before);
  EXPECT_EQ(dir.Read("app.log"), "text");
}

TEST(IsReadable, IsTrueForAFileOfThreeGibibytes) {
  const ScratchDir dir;
  dir.AddLogs({{"app.log", 1000000000, MiB(3072)}});

  EXPECT_TRUE(IsReadable(dir / "app.log"));
}

}  // namespace
