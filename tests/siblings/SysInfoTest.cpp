#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include "JoiningThread.h"
#include "RunProgram.h"
#include "ScratchDir.h"
#include "Surroundings.h"
#include "WaitUntilTrue.h"
#include "ZinSysInfo.h"

using ::testing::Contains;
using ::testing::SizeIs;

namespace fs = std::filesystem;

namespace {

constexpr int noRight = 77;  // the exit code of print_process_name

// What a copy of print_process_name under another name prints, unless it has
// not the right to do what it is told.
std::string NamePrintedBy(const std::string& fileName, const std::string& fate) {
  const char* const original = std::getenv("PRINT_PROCESS_NAME");
  if (original == nullptr) {
    ADD_FAILURE() << "PRINT_PROCESS_NAME must hold the path of that program";
    return {};
  }
  const ScratchDir dir;
  fs::copy_file(original, dir / fileName);
  const ProgramResult result = RunProgram({dir / fileName, fate});
  if (result.exitCode == noRight) return {};
  EXPECT_EQ(result.exitCode, 0) << result.standardError;
  EXPECT_EQ(dir.Has(fileName), fate != "deleted");
  return result.standardOutput;
}

// ---- Process name ------------------------------------------------------------

TEST(ProcessName, IsTheBaseNameOfTheExecutable) {
  EXPECT_EQ(ZinSysInfo::GetCurrentProcessName(), "sibling_tests");
}

TEST(ProcessName, IsBuiltOnce) {
  EXPECT_EQ(&ZinSysInfo::GetCurrentProcessName(), &ZinSysInfo::GetCurrentProcessName());
}

TEST(ProcessName, FollowsTheFileName) {
  EXPECT_EQ(NamePrintedBy("agent", "kept"), "agent\n");
}

TEST(ProcessName, MayBeLongAndHoldBlanks) {
  EXPECT_EQ(NamePrintedBy("a service with a rather long name", "kept"),
            "a service with a rather long name\n");
}

TEST(ProcessName, StaysWhenTheExecutableIsDeleted) {
  EXPECT_EQ(NamePrintedBy("agent", "deleted"), "agent\n");
}

TEST(ProcessName, StaysWhenTheExecutableIsReplaced) {
  EXPECT_EQ(NamePrintedBy("agent", "replaced"), "agent\n");
}

TEST(ProcessName, IsTheKernelsShortNameWhenTheExecutableIsUnknown) {
  SKIP_IF(WhyNoProc());
  EXPECT_EQ(NamePrintedBy("agent", "hidden"), "short-name\n");
}

TEST(ProcessName, IsTheOneItWasStartedByWhereThereIsNoProc) {
  const std::string name = NamePrintedBy("a service with a rather long name", "no-proc");

  if (name.empty()) GTEST_SKIP() << "only root may change the root directory";
  EXPECT_EQ(name, "a service with a rather long name\n");
}

// ---- Ids ---------------------------------------------------------------------

TEST(ProcessId, IsThatOfTheProcess) {
  EXPECT_EQ(ZinGetProcessId(), getpid());
}

TEST(ThreadId, IsTheProcessIdInTheFirstThread) {
  EXPECT_EQ(ZinGetThreadId(), getpid());
}

TEST(ThreadId, DiffersBetweenThreadsAndIsTheKernels) {
  SKIP_IF(WhyNoProc());
  std::set<std::int32_t> seen = {ZinGetThreadId()};
  for (int i = 0; i < 3; ++i) {
    std::int32_t id = 0;
    bool known = false;
    std::thread([&] {
      id = ZinGetThreadId();
      known = fs::exists("/proc/self/task/" + std::to_string(id));
    }).join();
    EXPECT_TRUE(known) << id;
    seen.insert(id);
  }
  EXPECT_THAT(seen, Contains(getpid()));
  EXPECT_GE(seen.size(), 2U);
}

TEST(ThreadId, DiffersBetweenThreadsThatLiveTogether) {
  std::array<std::atomic<std::int32_t>, 4> ids{};
  std::atomic<int> started{0};
  {
    std::vector<JoiningThread> threads;
    for (std::atomic<std::int32_t>& id : ids) {
      threads.emplace_back([&] {
        id = ZinGetThreadId();
        ++started;
        EXPECT_TRUE(WaitUntilTrue([&] { return started == 4; }));
      });
    }
  }
  EXPECT_THAT(std::set<std::int32_t>(ids.begin(), ids.end()), SizeIs(4));
}

TEST(Ids, AreRightInAChildEvenAfterTheParentAsked) {
  (void)ZinGetProcessId();
  (void)ZinGetThreadId();
  const pid_t child = fork();
  if (child == 0) {
    const bool right = ZinGetProcessId() == getpid() && ZinGetThreadId() == getpid();
    _exit(right ? 0 : 1);
  }
  ASSERT_GT(child, 0);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

// ---- Sleep -------------------------------------------------------------------

std::atomic<int> signalsHandled{0};

void CountSignal(int) {
  ++signalsHandled;
}

TEST(Sleep, IsNotCutShortBySignals) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds duration{200};
  struct sigaction action {};
  action.sa_handler = CountSignal;  // without SA_RESTART: system calls are interrupted
  ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);

  std::atomic<bool> asleep{false};
  std::atomic<bool> awake{false};
  Clock::duration slept{};
  JoiningThread sleeper([&] {
    const auto begin = Clock::now();
    asleep = true;
    ZinSleep(static_cast<std::uint32_t>(duration.count()));
    slept = Clock::now() - begin;
    awake = true;
    EXPECT_TRUE(WaitUntilTrue([&] { return !asleep; }));  // alive while it is signalled
  });
  EXPECT_TRUE(WaitUntilTrue([&] { return asleep.load(); }));
  EXPECT_TRUE(WaitUntilTrue([&] {
    (void)pthread_kill(sleeper.native_handle(), SIGUSR1);
    return awake.load();
  }));
  asleep = false;
  sleeper.join();
  EXPECT_GE(slept, duration);
  EXPECT_GE(signalsHandled, 2);
}

}  // namespace
