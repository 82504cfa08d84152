// restart_driver <directory> <scenario> [count]: starts and stops in every order.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "Driver.h"
#include "Sanitizers.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr double longestStopOfStalled = 10.5;  // seconds: ten, and some for a busy machine
constexpr double longestStop = 5;              // far above "at once"; only a hang is as long

double SecondsOf(const std::function<void()>& action) {
  const auto began = Clock::now();
  action();
  return std::chrono::duration<double>(Clock::now() - began).count();
}

void StopAtOnce() {
  const double seconds = SecondsOf([] { Logger().StopSystem(); });
  Require(seconds < longestStop, "a stop took " + std::to_string(seconds) + " s");
}

unsigned WorkersAlive() {
  return CountThreads("zin-log-worker") + CountThreads("zin-met-worker");
}

void WaitForWorkers(unsigned count) {
  WaitUntil([count] { return WorkersAlive() == count; },
            "workers, there should be " + std::to_string(count));
}

// Retention threads stay: one for each start that was not stopped at once.
void CheckThreads(unsigned starts) {
  WaitForWorkers(0);
  constexpr unsigned others = builtWithThreadSanitizer ? 2 : 1;  // main, and one of the sanitizer's
  // The thread that wrote the line of a stop may not have left yet.
  WaitUntil([=] { return CountThreads("") <= others + starts; }, "no more threads than starts");
}

// One line each; the writer number of a record is the cycle's.
void Cycles(const std::string& dir, unsigned count) {
  for (unsigned cycle = 0; cycle < count; ++cycle) {
    StartLogWith(dir, {});
    Emit({cycle, 0, 0});
    StopAtOnce();
  }
  CheckThreads(count);
}

// Two threads stop at once; the channel then starts again.
void TwoStops(const std::string& dir, unsigned count) {
  for (unsigned cycle = 0; cycle < count; ++cycle) {
    StartLogWith(dir, {});
    for (std::uint64_t i = 0; i < 20; ++i) Emit({cycle, 0, i});
    std::thread other(StopAtOnce);
    StopAtOnce();
    other.join();
  }
  CheckThreads(count);
}

// Two starts, one stop, for both channels.
void TwoStarts(const std::string& dir, unsigned count) {
  for (unsigned cycle = 0; cycle < count; ++cycle) {
    StartLogWith(dir, {});
    for (std::uint64_t i = 0; i < 20; ++i) Emit({cycle, 0, i});
    StartLogWith(dir, {});
    StartMetrics(dir + "/metrics");
    StartMetrics(dir + "/metrics");
    for (std::uint64_t i = 20; i < 60; ++i) Emit({cycle, 0, i});
    for (std::uint64_t i = 0; i < 40; ++i) EmitMetric({cycle, 1, i});
    WaitForWorkers(4);
    StopAtOnce();
    CheckThreads(4 * (cycle + 1));
  }
}

void CheckStalledStop(double seconds, double channels) {
  Require(seconds > 9.5 * channels && seconds < longestStopOfStalled * channels,
          "a stop with stuck workers took " + std::to_string(seconds) + " s");
}

// The stop times out, the channel starts again elsewhere, and the worker that
// was stuck comes back while the new one is at work.
void Stalled(const std::string& dir, const std::string& withMetrics) {
  const std::string first = dir + "/first";
  const std::string second = dir + "/second";
  const bool both = withMetrics == "both";
  std::filesystem::create_directories(first + "/metrics");
  Stall(first + "/app.log");
  if (both) Stall(first + "/metrics/metrics.log");
  StartLogWith(first, {});
  if (both) StartMetrics(first + "/metrics");
  Emit({0, 0, 0});
  if (both) EmitMetric({0, 1, 0});
  CheckStalledStop(SecondsOf([] { Logger().StopSystem(); }), both ? 2 : 1);

  StartLogWith(second, {});
  if (both) StartMetrics(second + "/metrics");
  for (std::uint64_t i = 0; i < 100; ++i) Emit({1, 0, i});
  WaitForWorkers(2 * (both ? 2 : 1));  // the new ones, and those that are stuck
  EndStall(first + "/app.log");
  if (both) EndStall(first + "/metrics/metrics.log");
  const unsigned workers = both ? 2 : 1;
  WaitForWorkers(workers);
  for (std::uint64_t i = 100; i < 200; ++i) Emit({1, 0, i});
  if (both)
    for (std::uint64_t i = 0; i < 200; ++i) EmitMetric({1, 1, i});
  StopAtOnce();
  CheckThreads(2 * workers);
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 4, "usage: restart_driver <directory> <scenario> <count>");
  const std::string dir = argv[1];
  const std::string scenario = argv[2];
  const auto count = static_cast<unsigned>(std::atoi(argv[3]));
  if (scenario == "cycles") {
    Cycles(dir, count);
  } else if (scenario == "two-stops") {
    TwoStops(dir, count);
  } else if (scenario == "two-starts") {
    TwoStarts(dir, count);
  } else if (scenario == "stalled") {
    Stalled(dir, argv[3]);
  } else {
    Fail("no such scenario: " + scenario);
  }
  return 0;
}
