#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

#include "Probe.h"

// allocator_probe <directory>
//
// operator new and delete have another thread log a line and wait for it, as
// programs do, in effect, that account for memory under a lock of their own. A
// lock that the library held meanwhile would never be released.

namespace {

std::atomic<bool> isWatching{false};
std::atomic<unsigned> wanted{0};
std::atomic<unsigned> logged{0};
std::atomic<bool> isFetching{true};
// A thread's own use of memory while it logs about memory is not logged.
thread_local bool isLogging = false;
thread_local bool isWitness = false;

void Report() {
  if (isWitness || isLogging || !isWatching) return;
  isLogging = true;
  const unsigned mine = ++wanted;
  constexpr int mostMilliseconds = 20000;  // only a hang takes as long
  for (int waited = 0; static_cast<int>(logged - mine) < 0; ++waited) {
    Require(waited < 10 * mostMilliseconds, "memory was used while a lock was held");
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  isLogging = false;
}

void LogReports() {
  isWitness = true;
  for (unsigned done = 0;;) {
    if (done == wanted) {
      std::this_thread::yield();
      continue;
    }
    done = wanted;
    LogLine("memory", "memory");
    Logger().Metrics("memory");
    if (isFetching) (void)ZinGetCacheLog(1);
    logged = done;
  }
}

void* Allocate(std::size_t size) {
  Report();
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void Free(void* memory) {
  if (memory != nullptr) Report();
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void operator delete(void* memory) noexcept {
  Free(memory);
}
void operator delete[](void* memory) noexcept {
  Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  Free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  Free(memory);
}

namespace {

void LogLines(int first, int count) {
  for (int i = first; i < first + count; ++i) LogLine("line " + std::to_string(i));
}

// Its other threads are not there, the one that logs about memory among them.
void LogInChild(const std::string& directory) {
  isWatching = false;
  LogLines(0, 10);
  StartLog(directory + "/childs-log");
  LogLines(0, 10);
  Logger().StopSystem();
}

void ForkAndLog(const std::string& directory) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(40);  // only a hang takes as long
    LogInChild(directory);
    _exit(0);
  }
  int status = 0;
  Require(waitpid(child, &status, 0) == child && status == 0, "the child did not end well");
}

// Those are on offer that the witness has fetched, until it fetches no more.
void FetchTenLines() {
  isFetching = false;
  for (int attempt = 0; attempt < 3; ++attempt) {
    ZinClearLastLog(true);
    const std::string batch = ZinGetCacheLog(10);
    if (std::count(batch.begin(), batch.end(), '\n') == 10) return;
  }
  Require(false, "no batch of ten lines");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string directory = argv[1];
  std::thread(LogReports).detach();
  isWatching = true;

  // Before anything that is built on first use has been used: for a fork, for a
  // log call.
  ForkAndLog(directory);
  Logger().Log("Probe.cpp", 1, "Probe", " ", "", INFO, "before the start");
  StartLog(directory);
  StartMetrics(directory + "/metrics");
  for (int round = 0; round < 20; ++round) {
    LogLines(1 + 100 * round, 100);
    LogLine(std::string(static_cast<std::size_t>(100 * round), 'x'), "long");
    (void)ZinGetCacheLog(2 * round);
    ZinClearLastLog(true);
    if (round % 5 == 0) ForkAndLog(directory);
  }
  FetchTenLines();
  Logger().StopSystem();
  StartLog(directory, "again.log");
  LogLine("again");
  Logger().StopSystem();
  return 0;
}
