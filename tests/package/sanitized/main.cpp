// Uses the library from four threads, through starts, stops and forks, and is itself
// without a race; with a second argument it has one.
#include <ZinLogger.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

void LogLine(const char* key, const std::string& text, int number) {
  Logger().Log("main.cpp", 1, __func__, " ", key, INFO, "%s %d", text.c_str(), number);
}

void LogFromFourThreads(const std::string& text) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([text, thread] {
      for (int number = 0; number < 1500; ++number) {
        LogLine(thread % 2 == 0 ? "" : "net", text + std::to_string(thread), number);
        if (number % 10 == 0) Logger().Metrics("number=%d", number);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

bool Start(const std::string& directory, const char* fileName) {
  return Logger().StartSystem(fileName, directory.c_str(), 5, 1, INFO, 100000, true) &&
         Logger().StartSystemForMetrics(fileName, (directory + "/metrics").c_str(), 5, 1, 100000,
                                        true);
}

void Stop() {
  Logger().StopMetricSystem();
  Logger().StopSystem();
}

// What became of a child that logs, with a channel of its own if `starts`.
bool ChildLogs(const std::string& directory, bool starts) {
  const pid_t child = fork();
  if (child == 0) {
    const bool good = !starts || Start(directory, "child.log");
    LogLine("", "child", 1);
    Stop();
    _exit(good ? 0 : 1);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child && status == 0;
}

int counter = 0;

void CountInFirstThread() {
  ++counter;
  LogLine("", "counted", 1);
}

void CountInSecondThread() {
  LogLine("", "counts", 2);
  ++counter;
}

// Nothing orders the two but calls of the library: it must not count.
void Race() {
  std::atomic<bool> counted{false};
  std::thread first([&counted] {
    CountInFirstThread();
    counted.store(true, std::memory_order_relaxed);
  });
  std::thread second([&counted] {
    while (!counted.load(std::memory_order_relaxed)) std::this_thread::yield();
    CountInSecondThread();
  });
  first.join();
  second.join();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string directory = argv[1];
  for (int run = 0; run < 2; ++run) {
    LogFromFourThreads("to standard error ");
    if (!Start(directory, "app.log")) return 1;
    LogFromFourThreads("to the file ");
    if (argc > 2 && run == 0) Race();
    if (!ChildLogs(directory, run == 1)) return 2;
    Logger().SetLogLevel(DEBUG);
    if (ZinGetCacheLog(100).empty()) return 3;
    ZinClearLastLog(true);
    Stop();
  }
  std::puts("done");
  return 0;
}
