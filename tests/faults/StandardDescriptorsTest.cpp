// A service that has closed its standard streams: in no moment may a log file, or
// what holds its place, become one of them, or reach a program that it starts.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "FailingCalls.h"
#include "LogFileWriter.h"
#include "OpenDescriptors.h"
#include "ScratchDir.h"

namespace {

using ::testing::Each;
using ::testing::Gt;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr std::array<int, 3> standardStreams = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
constexpr int mostCalls = 20;  // more than a test makes

// All three are closed as long as this lives.
class ClosedStandardStreams {
 public:
  ClosedStandardStreams() {
    for (const int stream : standardStreams) {
      saved[static_cast<std::size_t>(stream)] = fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    }
    for (const int stream : standardStreams) (void)close(stream);
  }
  ~ClosedStandardStreams() {
    for (const int stream : standardStreams) {
      const int original = saved[static_cast<std::size_t>(stream)];
      if (original < 0) continue;
      (void)dup2(original, stream);
      (void)close(original);
    }
  }
  ClosedStandardStreams(const ClosedStandardStreams&) = delete;
  ClosedStandardStreams& operator=(const ClosedStandardStreams&) = delete;

 private:
  std::array<int, 3> saved{};
};

// The flags of the three descriptors; -1 for one that is free.
using Flags = std::array<int, 3>;

Flags StandardFlags() {
  Flags flags{};
  std::transform(standardStreams.begin(), standardStreams.end(), flags.begin(),
                 [](int stream) { return fcntl(stream, F_GETFD); });
  return flags;
}

class StandardDescriptors : public ::testing::Test {
 protected:
  StandardDescriptors() { calls.UseNoAccount(); }

  // Has a file of an earlier run moved aside and a new one opened, all streams
  // being closed. Returns their flags as they were at each opening of the file.
  std::vector<Flags> FlagsAtEachOpening() {
    std::vector<Flags> seen;
    dir.Write("app.log", "of an earlier run\n");
    for (int which = 1; which <= mostCalls; ++which) {
      calls.Before(
          "open", [&] { seen.push_back(StandardFlags()); }, which);
    }
    const ClosedStandardStreams closed;
    writer.WriteLine("", "line\n");
    return seen;
  }

  const ScratchDir dir;
  FailingCalls calls;
  LogFileWriter writer{"app.log", dir.Path(), 1000, MiB(1)};
};

TEST_F(StandardDescriptors, AreAllTakenWhileAFileIsOpened) {
  const std::vector<Flags> seen = FlagsAtEachOpening();

  ASSERT_THAT(seen, Not(IsEmpty()));
  for (const Flags& flags : seen) EXPECT_THAT(flags, Each(Not(-1)));
  EXPECT_EQ(dir.Read("app.log"), "line\n");
}

// Another thread may start a program in that moment.
TEST_F(StandardDescriptors, AreClosedInAProgramThatIsStartedWhileAFileIsOpened) {
  const std::vector<Flags> seen = FlagsAtEachOpening();

  ASSERT_THAT(seen, Not(IsEmpty()));
  for (const Flags& flags : seen) EXPECT_THAT(flags, Each(FD_CLOEXEC));
}

TEST_F(StandardDescriptors, AreFreeAgainAfterwards) {
  Flags after{};
  {
    const ClosedStandardStreams closed;
    writer.WriteLine("", "line\n");
    after = StandardFlags();
  }

  EXPECT_THAT(after, Each(-1));
}

TEST_F(StandardDescriptors, GiveAFileAwayThatIsClosedInAProgramThatIsStarted) {
  calls.FailFrom("epoll_create1", ENOMEM);
  std::vector<int> descriptors;
  {
    const ClosedStandardStreams closed;
    writer.WriteLine("", "line\n");
    descriptors = DescriptorsOf(dir / "app.log");
  }

  ASSERT_THAT(descriptors, Not(IsEmpty()));
  EXPECT_THAT(descriptors, Each(Gt(STDERR_FILENO)));
  for (const int descriptor : descriptors) EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
}

}  // namespace
