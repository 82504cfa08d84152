// logging_allocator_driver <directory> <ledger> <seed>: its operator new and delete
// have another thread log a line, and wait for it, as programs do, in effect, that
// account for memory under a lock of their own. Nothing may use memory while a lock
// of the library is held, or nobody would come out of there.
//
// Slot i of the ledger: records that thread i has handed over; slots from 10 on:
// records of metrics; slot 20: lines about memory. Streams: writer 0, one per slot,
// and writer n + 1 for the child of round n.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <random>
#include <stop_token>
#include <thread>
#include <vector>

#include "Children.h"
#include "Driver.h"

namespace {

constexpr unsigned threadCount = 3;
constexpr unsigned firstMetricsSlot = 10;
constexpr unsigned memorySlot = 20;
constexpr unsigned roundCount = 5;
constexpr std::uint64_t linesPerChild = 10;

using Clock = std::chrono::steady_clock;

const pid_t parent = getpid();  // the witness is not there in a child
std::atomic<bool> isWatching{false};
std::atomic<unsigned> wanted{0};
std::atomic<unsigned> logged{0};
// Between two reports of a thread. While files rotate at each line, the worker uses
// memory for each file that is there, and a line for each use would never end.
std::atomic<int> restMicroseconds{0};
thread_local Clock::time_point restsUntil;
// A thread's own use of memory while it logs about memory is not logged.
thread_local bool isReporting = false;
thread_local bool isWitness = false;

void Report() {
  if (isWitness || isReporting || !isWatching || getpid() != parent) return;
  if (restMicroseconds != 0) {
    const auto now = Clock::now();
    if (now < restsUntil) return;
    restsUntil = now + std::chrono::microseconds(restMicroseconds);
  }
  isReporting = true;
  const unsigned mine = ++wanted;
  constexpr int mostWaits = 400000;  // of 50 microseconds; only a hang takes as long
  for (int waits = 0; isWatching && static_cast<int>(logged - mine) < 0; ++waits) {
    Require(waits < mostWaits, "memory was used while a lock was held");
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
  isReporting = false;
}

void LogReports(const std::stop_token& stop, Ledger& ledger) {
  isWitness = true;
  for (unsigned done = 0; !stop.stop_requested();) {
    const unsigned now = wanted;
    if (done == now) {
      std::this_thread::sleep_for(std::chrono::microseconds(20));
      continue;
    }
    Emit({0, memorySlot, ledger[memorySlot].load()}, "memory");
    ++ledger[memorySlot];
    (void)ZinGetCacheLog(2);
    ZinClearLastLog(true);
    done = now;
    logged = now;
  }
}

void* Allocate(std::size_t size) {
  Report();
  void* const memory = std::malloc(size == 0 ? 1 : size);
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

const char* KeyOf(unsigned number) {
  constexpr const char* keys[] = {"", "", "net", "a-key-that-is-longer-than-a-short-string"};
  return keys[number % 4];
}

void LogUntilStopped(const std::stop_token& stop, unsigned thread, unsigned seed, Ledger& ledger) {
  std::mt19937 random(seed + thread);
  for (std::uint64_t sequence = 0; !stop.stop_requested(); ++sequence) {
    Emit({0, thread, sequence}, KeyOf(static_cast<unsigned>(random())));
    ledger[thread].store(sequence + 1);
    // While a stop writes what is queued, no more is to come than it writes.
    std::this_thread::sleep_for(std::chrono::microseconds(restMicroseconds));
    if (random() % 4 != 0) continue;
    const std::uint64_t record = ledger[firstMetricsSlot + thread];
    EmitMetric({0, firstMetricsSlot + thread, record});
    ledger[firstMetricsSlot + thread].store(record + 1);
    (void)ZinGetCacheLog(static_cast<int>(random() % 20));
    ZinClearLastLog(true);
  }
}

void StartBoth(const std::string& dir, bool rotates) {
  LogSettings settings;
  if (rotates) settings.fileSizeMiB = 4096;
  restMicroseconds = rotates ? 20000 : 0;
  StartLogWith(dir, settings);
  StartMetrics(dir + "/metrics");
}

void StopBoth() {
  Logger().StopMetricSystem();
  Logger().StopSystem();
}

void LogInChild(const std::string& dir, unsigned round) {
  StartLogWith(dir + "/child-" + std::to_string(round), {});
  const unsigned writer = round + 1;
  for (std::uint64_t i = 0; i < linesPerChild; ++i) Emit({writer, 0, i});
  Logger().StopSystem();
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 4, "usage: logging_allocator_driver <directory> <ledger> <seed>");
  const std::string dir = argv[1];
  Ledger ledger(argv[2]);
  const auto seed = static_cast<unsigned>(std::atoi(argv[3]));
  std::mt19937 random(seed);
  std::jthread witness([&](const std::stop_token& stop) { LogReports(stop, ledger); });
  isWatching = true;
  {
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([&ledger, seed, thread](const std::stop_token& stop) {
        LogUntilStopped(stop, thread, seed, ledger);
      });
    }
    for (unsigned round = 0; round < roundCount; ++round) {
      StartBoth(dir, random() % 2 == 0);
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
      RunInChild("a child with a channel of its own", [&] { LogInChild(dir, round); });
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
      StopBoth();
    }
  }
  isWatching = false;  // lets those go on that wait
  witness.request_stop();
  witness.join();
  // What stands in the queues behind the last stop.
  StartBoth(dir, false);
  StopBoth();
  return 0;
}
