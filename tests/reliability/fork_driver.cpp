// fork_driver <directory> <ledger> <rounds>: forks while four threads log to
// both channels. Children log, stop, start channels of their own, call exit or
// exec; what they log is of another writer than the parent's lines. Slot i of
// the ledger: records that thread i has handed over, to each channel.
#include <unistd.h>

#include <cstdlib>
#include <stop_token>
#include <thread>
#include <vector>

#include "Children.h"
#include "Driver.h"

namespace {

constexpr unsigned threadCount = 4;
constexpr std::uint64_t linesPerChild = 20;

void LogUntilStopped(const std::stop_token& stop, unsigned thread, Ledger& ledger) {
  for (std::uint64_t sequence = 0; !stop.stop_requested(); ++sequence) {
    Emit({0, thread, sequence});
    EmitMetric({0, thread, sequence});
    ledger[thread].store(sequence + 1);
    // Paces the load: the account is to be about forks, not about a long queue.
    if (sequence % 8 == 0) std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
}

void LogAsChild(unsigned writer) {
  for (std::uint64_t i = 0; i < linesPerChild; ++i) Emit({writer, 0, i});
}

void RunOwnChannels(const std::string& dir, unsigned writer) {
  StartLog(dir);
  StartMetrics(dir + "/metrics");
  LogAsChild(writer);
  for (std::uint64_t i = 0; i < linesPerChild; ++i) EmitMetric({writer, 0, i});
  Logger().StopMetricSystem();
  Logger().StopSystem();
}

void ForkOnce(const std::string& dir, unsigned round) {
  const unsigned writer = round + 1;
  switch (round % 5) {
    case 0:
      return RunInChild("a child that logs", [=] { LogAsChild(writer); });
    case 1:
      return RunInChild("a child with channels of its own",
                        [&] { RunOwnChannels(dir + "/child-" + std::to_string(round), writer); });
    case 2:
      return RunInChild("a child that stops and logs", [=] {
        Logger().StopSystem();
        LogAsChild(writer);
      });
    case 3:
      return RunInChild("a child that logs and calls exit", [=] {
        LogAsChild(writer);
        std::exit(0);
      });
    default:
      return RunInChild("a child that calls exec", [] {
        execl("/bin/true", "true", nullptr);
        _exit(1);
      });
  }
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 4, "usage: fork_driver <directory> <ledger> <rounds>");
  const std::string dir = argv[1];
  Ledger ledger(argv[2]);
  const auto rounds = static_cast<unsigned>(std::atoi(argv[3]));
  LogSettings settings;
  settings.fileSizeMiB = 1;
  StartLogWith(dir, settings);
  StartMetrics(dir + "/metrics");
  {
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([&ledger, thread](const std::stop_token& stop) {
        LogUntilStopped(stop, thread, ledger);
      });
    }
    for (unsigned round = 0; round < rounds; ++round) ForkOnce(dir, round);
  }
  Logger().StopMetricSystem();
  Logger().StopSystem();
  return 0;
}
