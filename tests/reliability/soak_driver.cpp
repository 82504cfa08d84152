// soak_driver <directory> <ledger> <seconds> <seconds per session>: mixed load on
// both channels with rotations, retention and restarts, for a long time. Prints
// descriptors, threads and resident memory after the first sessions and at the
// end, as JSON. Slot i of the ledger: records that thread i has handed over to
// the log, slot 100 + i to the metrics. Even threads write to the log file
// itself, odd ones to a sub-directory.
#include <malloc.h>
#include <utime.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "Driver.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr unsigned threadCount = 4;
constexpr std::uint64_t linesPerRound = 4000;
constexpr int keptFiles = 20;
constexpr unsigned mostFiles = 60;  // of the directory; its own files are far fewer
constexpr unsigned noLimit = 1000000;

struct Needs {
  std::uint64_t descriptors = 0;
  std::uint64_t threads = 0;
  std::uint64_t residentKiB = 0;
};

std::uint64_t CountEntries(const char* directory) {
  return static_cast<std::uint64_t>(std::distance(fs::directory_iterator(directory), {}));
}

Needs Measure() {
  (void)malloc_trim(0);  // what is free and what is used would be hard to tell apart
  Needs needs;
  needs.descriptors = CountEntries("/proc/self/fd");
  needs.threads = CountEntries("/proc/self/task");
  std::ifstream in("/proc/self/status");
  for (std::string word; in >> word;) {
    if (word == "VmRSS:") in >> needs.residentKiB;
  }
  return needs;
}

// Files of another age, for the retention thread that the next start brings.
void AddOldFiles(const std::string& dir) {
  for (unsigned i = 0; i < mostFiles; ++i) {
    const std::string path = dir + "/old-" + std::to_string(i) + ".log";
    std::ofstream(path) << "old\n";
    const utimbuf longAgo{1000000, 1000000};
    Require(utime(path.c_str(), &longAgo) == 0, "utime");
  }
}

void LogRound(Ledger& ledger) {
  std::vector<std::jthread> threads;
  for (unsigned thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&ledger, thread] {
      for (std::uint64_t i = 0; i < linesPerRound; ++i) {
        Emit({0, thread, ledger[thread].load()}, thread % 2 == 0 ? "" : "net");
        ++ledger[thread];
        if (i % 4 != 0) continue;
        EmitMetric({0, thread, ledger[100 + thread].load()});
        ++ledger[100 + thread];
      }
    });
  }
}

bool Holds(const std::string& path, const std::string& text) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {}).find(text) != std::string::npos;
}

// The queue is empty again between rounds, so that it never fills.
void LetWorkerCatchUp(const std::string& dir, unsigned round) {
  const RecordId mark{1, 0, round};
  Emit(mark, "mark");
  WaitUntil([&] { return Holds(dir + "/mark/app.log", RecordText(mark)); }, "the worker");
}

void RunSession(const std::string& dir, Ledger& ledger, double seconds) {
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  fs::create_directories(dir + "/metrics");
  AddOldFiles(dir);
  Logger().LimitLogPathSize(mostFiles, noLimit);
  Logger().LimitMetricsPathSize(noLimit, noLimit);
  Require(Logger().StartSystem("app.log", dir.c_str(), keptFiles, 1, INFO, plenty, true), "start");
  Require(Logger().StartSystemForMetrics("metrics.log", (dir + "/metrics").c_str(), keptFiles, 1,
                                         plenty, false),
          "start of metrics");
  static unsigned round = 0;
  do {
    LogRound(ledger);
    LetWorkerCatchUp(dir, round++);
  } while (Clock::now() < end);
  Logger().StopMetricSystem();
  Logger().StopSystem();
  WaitUntil([] { return CountThreads("zin-log-worker") + CountThreads("zin-met-worker") == 0; },
            "the workers to end");
}

void Print(const char* name, const Needs& needs) {
  std::printf("\"%s\": {\"descriptors\": %lu, \"threads\": %lu, \"residentKiB\": %lu}, ", name,
              needs.descriptors, needs.threads, needs.residentKiB);
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 5, "usage: soak_driver <directory> <ledger> <seconds> <seconds per session>");
  const std::string dir = argv[1];
  Ledger ledger(argv[2]);
  const double all = std::atof(argv[3]);
  const double perSession = std::atof(argv[4]);
  const auto sessions = static_cast<unsigned>(all / perSession);
  const unsigned warmUp = sessions / 5 + 1;

  Needs first;
  for (unsigned session = 0; session < sessions; ++session) {
    RunSession(dir, ledger, perSession);
    if (session + 1 == warmUp) first = Measure();
  }
  const Needs last = Measure();
  unsigned oldFiles = 0;
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (entry.path().filename().string().starts_with("old-")) ++oldFiles;
  }
  std::printf("{");
  Print("first", first);
  Print("last", last);
  std::printf("\"sessions\": %u, \"warmUp\": %u, \"oldFiles\": %u}\n", sessions, warmUp, oldFiles);
  return 0;
}
