#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <thread>
#include <vector>

#include "Children.h"
#include "Probe.h"
#include "Sanitizers.h"
#include "Threads.h"

namespace {

constexpr int threadCount = 4;
constexpr int linesPerRound = 100;
constexpr int linesPerChild = 20;

// Four threads that log while the main thread forks. Each round lets every one
// of them log some more lines, so that their number is known and the fork of the
// round falls into their midst.
class LoggingThreads {
 public:
  explicit LoggingThreads(int rounds) {
    for (int thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([this, thread, rounds] {
        for (int round = 0; round < rounds; ++round) {
          begun.wait(round);
          for (int i = 0; i < linesPerRound; ++i) {
            LogLine("thread " + std::to_string(thread) + " line " +
                    std::to_string(round * linesPerRound + i));
            Logger().Metrics("thread %d record %d", thread, round * linesPerRound + i);
          }
        }
      });
    }
  }
  void BeginRound() {
    ++begun;
    begun.notify_all();
  }
  void Join() {
    for (std::thread& thread : threads) thread.join();
  }

 private:
  std::atomic<int> begun{0};
  std::vector<std::thread> threads;
};

void LogAsChild(int round) {
  for (int i = 0; i < linesPerChild; ++i) {
    LogLine("child " + std::to_string(round) + " process " + std::to_string(getpid()) + " line " +
            std::to_string(i));
  }
}

// Both channels, in a directory of the child's own.
void RunOwnChannels(const std::string& directory, int round) {
  StartLog(directory, "child.log");
  StartMetrics(directory);
  LogAsChild(round);
  for (int i = 0; i < linesPerChild; ++i) Logger().Metrics("child %d record %d", round, i);
  Logger().StopMetricSystem();
  Logger().StopSystem();
}

// A sanitizer allocates memory under locks of its own, which a child inherits
// locked when another thread was in there. So its children start no channel
// while the parent's threads log, and where they do, the parent's library
// threads are asleep: a worker that waits or naps allocates nothing.
void LetLibraryThreadsSleep() {
  if (sanitizerLocksReachChildren) WaitUntil(OtherThreadsSleep, "threads that sleep");
}

void ForkOnce(const std::string& dir, int round) {
  switch (round % 5) {
    case 0:
      return RunInChild("a child that logs", [round] { LogAsChild(round); });
    case 1:
      return RunInChild("a child with channels of its own", [&] {
        if (sanitizerLocksReachChildren) _exit(0);
        RunOwnChannels(dir + "/child-" + std::to_string(round), round);
      });
    case 2:
      return RunInChild("a child that calls exit", [] { std::exit(0); });
    case 3:
      return RunInChild("a child that calls _exit", [] { _exit(0); });
    default:
      return RunInChild("a child that calls exec", [] {
        execl("/bin/true", "true", nullptr);
        _exit(1);
      });
  }
}

// fork-logging <directory> <rounds>
int ForkWhileThreadsLog(const Arguments& arguments) {
  const std::string& dir = arguments.at(0);
  const int rounds = std::stoi(arguments.at(1));
  StartLog(dir);
  StartMetrics(dir + "/metrics");
  LoggingThreads threads(rounds);
  for (int round = 0; round < rounds; ++round) {
    threads.BeginRound();
    ForkOnce(dir, round);
  }
  threads.Join();
  LogLine("the parent goes on");
  Logger().StopSystem();
  return 0;
}

// fork-not-running <rounds>: all lines go to standard error, parent's and
// children's.
// The address sanitizer's fflush takes a lock of its own for each stream, which
// a child inherits locked when another thread was writing. Under it the children
// write nothing.
int ForkWhileThreadsWriteToStandardError(const Arguments& arguments) {
  const int rounds = std::stoi(arguments.at(0));
  LoggingThreads threads(rounds);
  for (int round = 0; round < rounds; ++round) {
    threads.BeginRound();
    RunInChild("a child that logs", [round] {
      if (!sanitizerLocksReachChildren) LogAsChild(round);
    });
  }
  threads.Join();
  return 0;
}

// fork-twice <directory>: a child with channels of its own forks again.
int ForkTwice(const Arguments& arguments) {
  const std::string& dir = arguments.at(0);
  StartLog(dir);
  LogLine("parent before");
  LetLibraryThreadsSleep();
  RunInChild("the child", [&] {
    StartLog(dir + "/child");
    LogLine("child before");
    LetLibraryThreadsSleep();
    RunInChild("the grandchild", [&] {
      LogLine("grandchild without a channel");
      StartLog(dir + "/grandchild");
      LogLine("grandchild");
      Logger().StopSystem();
    });
    LogLine("child after");
    Logger().StopSystem();
  });
  LogLine("parent after");
  Logger().StopSystem();
  return 0;
}

// fork-state <directory>: a child inherits settings, but neither a running
// channel nor its queue.
int CheckStateOfChild(const Arguments& arguments) {
  const std::string& dir = arguments.at(0);
  StartLog(dir);
  LogLine("parent");
  LetLibraryThreadsSleep();
  Logger().SetLogLevel(WARN);
  Logger().Metrics("counted");
  const std::string nameOfLibrary = Logger().GetMetricsLogName(true);
  const std::string nameOfParent = "metrics_" + std::to_string(getpid()) + ".log";
  RunInChild("the child", [&] {
    LogLine("filtered by the parent's level");
    Require(Logger().GetMetricsCount() == 1, "the count was not inherited");
    Require(Logger().GetMetricsLogName(true) == nameOfParent, "the name was built anew");
    Logger().StopSystem();  // nothing runs
    Logger().SetLogLevel(INFO);
    StartLog(dir + "/child");
    for (int i = 0; i < 2; ++i) {
      LogLine("child");
      Logger().StopSystem();
      StartLog(dir + "/child");  // the second time renames the first's file
    }
    LogLine("child");
    Logger().StopSystem();
  });
  Require(nameOfLibrary == nameOfParent, "the parent's own name");
  Logger().SetLogLevel(INFO);
  Logger().StopSystem();
  return 0;
}

}  // namespace

Command FindForkCommand(const std::string& name) {
  static const std::map<std::string, Command> commands = {
      {"fork-logging", ForkWhileThreadsLog},
      {"fork-not-running", ForkWhileThreadsWriteToStandardError},
      {"fork-twice", ForkTwice},
      {"fork-state", CheckStateOfChild},
  };
  const auto found = commands.find(name);
  return found == commands.end() ? Command() : found->second;
}
