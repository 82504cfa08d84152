#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <thread>
#include <vector>

#include "Probe.h"
#include "Threads.h"

// Each of these ends its process in another way, with the channel running
// unless it says otherwise.

namespace {

constexpr int linesPerExit = 20000;

// As ProcessExitTest expects them: nothing but the whole line matches.
void LogExitLine(int thread, int number) {
  Logger().Log("Probe.cpp", 1, "Probe", " ", "", INFO, "thread %d line %d %s end", thread, number,
               "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx");
}

void LogExitLines(int thread) {
  for (int i = 0; i < linesPerExit; ++i) LogExitLine(thread, i);
}

// Threads that log as long as the process lives; on return each is in the midst.
void StartLoggingThreads(int count) {
  static std::atomic<int> busy{0};
  for (int thread = 1; thread <= count; ++thread) {
    std::thread([thread] {
      for (int i = 0;; ++i) {
        LogExitLine(thread, i);
        Logger().Metrics("thread %d record %d", thread, i);
        if (i == 100) ++busy;
      }
    }).detach();
  }
  WaitUntil([count] { return busy == count; }, "threads that log");
}

// Runs after everything that was built later than the program's own static
// objects has been destroyed, the logger among it.
class EarlyObject {
 public:
  ~EarlyObject() {
    if (atDestruction) atDestruction();
  }
  void (*atDestruction)() = nullptr;
};
EarlyObject early;

int ReturnFromMain(const Arguments& arguments) {
  StartLog(arguments.at(0));
  LogExitLines(0);
  return 0;
}

int ReturnWhileThreadsLog(const Arguments& arguments) {
  StartLog(arguments.at(0));
  StartMetrics(arguments.at(0) + "/metrics");
  StartLoggingThreads(4);
  return 0;
}

int ReturnWhileThreadsWriteToStandardError(const Arguments&) {
  StartLoggingThreads(4);
  return 0;
}

int ReturnWithTwoWorkers(const Arguments& arguments) {
  StartLog(arguments.at(0));
  StartLog(arguments.at(0));
  LogExitLines(0);
  return 0;
}

int ReturnAfterStop(const Arguments& arguments) {
  StartLog(arguments.at(0));
  LogExitLines(0);
  Logger().StopSystem();
  return 0;
}

int ReturnWithAStalledWorker(const Arguments& arguments) {
  Require(mkfifo((arguments.at(0) + "/app.log").c_str(), 0600) == 0, "no pipe");
  StartLog(arguments.at(0));
  LogExitLines(0);
  return 0;
}

int ExitInAThread(const Arguments& arguments) {
  StartLog(arguments.at(0));
  LogExitLines(0);
  std::thread([] { std::exit(0); }).join();  // never comes back
  return 1;
}

int ExitInAThreadWhileThreadsLog(const Arguments& arguments) {
  StartLog(arguments.at(0));
  StartMetrics(arguments.at(0) + "/metrics");
  StartLoggingThreads(4);
  std::thread([] { std::exit(0); }).join();
  return 1;
}

int QuickExit(const Arguments& arguments) {
  StartLog(arguments.at(0));
  LogExitLines(0);
  std::quick_exit(0);
}

int UnderscoreExit(const Arguments& arguments) {
  StartLog(arguments.at(0));
  LogExitLines(0);
  _exit(0);
}

// All output of this one goes to standard error: the channel is not running.
int LogFromStaticObjects(const Arguments&) {
  early.atDestruction = [] { LogLine("from an object that outlives the logger"); };
  LogLine("from main");  // builds the logger
  class LateObject {
   public:
    ~LateObject() { LogLine("from an object that the logger outlives"); }
  };
  static LateObject late;
  return 0;
}

int LogFromStaticObjectsWhileTheChannelRuns(const Arguments& arguments) {
  StartLog(arguments.at(0));
  LogExitLines(0);
  early.atDestruction = [] { LogExitLines(1); };
  class LateObject {
   public:
    ~LateObject() { LogExitLines(2); }
  };
  static LateObject late;
  return 0;
}

// Fails through the exit status when a call does not do what it should.
int UseTheLoggerAfterItsDestruction(const Arguments& arguments) {
  static std::string directory;  // destroyed after the checks, which it precedes
  directory = arguments.at(0);
  static const std::string* const lasting = new std::string(directory);
  StartLog(directory);
  StartMetrics(directory + "/metrics");
  Logger().Metrics("record");
  early.atDestruction = [] {
    ZinLogger& gone = Logger();
    Require(gone.GetMetricsCount() == -10000, "GetMetricsCount");
    Require(gone.ResetMetricsCount() == -10000, "ResetMetricsCount");
    Require(!gone.StartSystem("late.log", lasting->c_str(), 5, 1, INFO, plenty, true),
            "StartSystem");
    Require(!gone.StartSystem(nullptr, nullptr, 5, 1, INFO, plenty, true), "StartSystem, null");
    Require(!gone.StartSystemForMetrics("late.log", lasting->c_str(), 5, 1, plenty, true),
            "StartSystemForMetrics");
    Require(gone.GetLogName().empty(), "GetLogName");
    Require(gone.GetClientMetricsLogDir().empty(), "GetClientMetricsLogDir");
    gone.SetLogLevel(DEBUG);
    gone.LimitLogPathSize(1, 1);
    gone.LimitMetricsPathSize(1, 1);
    gone.ZinTraceSetSessionId(1);
    gone.MetricsGetPrivSwitch(1);
    gone.SetClientMetricsLogDir("dir");
    gone.Metrics("nowhere");
    LogLine("nowhere");
    gone.StopSystem();
    gone.StopMetricSystem();
    Require(gone.GetServerMetricsLogDir() == "/var/log/qorlog/serverlog/metrics/channel_probe",
            "GetServerMetricsLogDir");
  };
  return 0;
}

// They would otherwise sleep on, beside whatever else happens at the exit.
int SeeTheWorkersLeaveAfterTheLoggersDestruction(const Arguments& arguments) {
  static const auto workers = [] {
    return ThreadsNamed("zin-log-worker").size() + ThreadsNamed("zin-met-worker").size();
  };
  StartLog(arguments.at(0));
  StartMetrics(arguments.at(0) + "/metrics");
  // A thread bears its creator's name until it sets its own.
  WaitUntil([] { return workers() == 2; }, "workers that have begun");
  early.atDestruction = [] { WaitUntil([] { return workers() == 0; }, "workers that leave"); };
  return 0;
}

}  // namespace

Command FindExitCommand(const std::string& name) {
  static const std::map<std::string, Command> commands = {
      {"return-from-main", ReturnFromMain},
      {"return-while-threads-log", ReturnWhileThreadsLog},
      {"return-while-threads-write-to-standard-error", ReturnWhileThreadsWriteToStandardError},
      {"return-with-two-workers", ReturnWithTwoWorkers},
      {"return-after-stop", ReturnAfterStop},
      {"return-with-a-stalled-worker", ReturnWithAStalledWorker},
      {"exit-in-a-thread", ExitInAThread},
      {"exit-in-a-thread-while-threads-log", ExitInAThreadWhileThreadsLog},
      {"quick-exit", QuickExit},
      {"underscore-exit", UnderscoreExit},
      {"static-objects", LogFromStaticObjects},
      {"static-objects-while-running", LogFromStaticObjectsWhileTheChannelRuns},
      {"after-destruction", UseTheLoggerAfterItsDestruction},
      {"workers-after-destruction", SeeTheWorkersLeaveAfterTheLoggersDestruction},
  };
  const auto found = commands.find(name);
  return found == commands.end() ? Command() : found->second;
}
