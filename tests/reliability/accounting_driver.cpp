// accounting_driver <directory> <threads> <lines> [capacity]: every thread logs
// its lines into a queue that has room for all, or for so many.
#include <cstdlib>
#include <thread>
#include <vector>

#include "Driver.h"

int main(int argc, char** argv) {
  Require(argc == 4 || argc == 5,
          "usage: accounting_driver <directory> <threads> <lines> [capacity]");
  const auto threadCount = static_cast<unsigned>(std::atoi(argv[2]));
  const auto lines = static_cast<std::uint64_t>(std::atoll(argv[3]));
  LogSettings settings;
  if (argc == 5) settings.queueCapacity = std::strtoul(argv[4], nullptr, 10);
  StartLogWith(argv[1], settings);
  {
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([=] {
        for (std::uint64_t sequence = 0; sequence < lines; ++sequence) Emit({0, thread, sequence});
      });
    }
  }
  // A stop waits at most ten seconds; what is queued then is still written.
  Logger().StopSystem();
  WaitUntil([] { return CountThreads("zin-log-worker") == 0; }, "the worker to end");
  return 0;
}
