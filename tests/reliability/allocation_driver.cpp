// allocation_driver <directory> <lines>: logs to three files while one
// allocation fails. Status 0: went on, the allocations counted on standard
// output; 77: ended by std::terminate. Writer 0; thread 0 is app.log, 1 is
// net/app.log, 2 the metrics file, each with this many lines.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <system_error>
#include <vector>

#include "Allocations.h"
#include "Driver.h"

namespace {

constexpr int terminated = 77;
constexpr int rotatedSizeMiB = 4096;  // at every line
constexpr unsigned noLimit = 1000000;

struct Texts {
  std::string log, net, metrics;
};

// A start that finds no memory or no thread throws, and may be repeated.
template <typename Start>
void StartTwiceIfNeeded(Start start) {
  try {
    start();
  } catch (const std::bad_alloc&) {
    start();
  } catch (const std::system_error&) {
    start();
  }
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 4, "usage: allocation_driver <directory> <lines> plain|rotate");
  const std::string dir = argv[1];
  const std::string metricsDir = dir + "/metrics";
  const auto lines = static_cast<std::uint64_t>(std::atoll(argv[2]));
  const int sizeMiB = std::string(argv[3]) == "rotate" ? rotatedSizeMiB : 1000;
  std::set_terminate([] { _exit(terminated); });
  // Built before anything fails: what is tested is the library.
  std::vector<Texts> texts;
  for (std::uint64_t i = 0; i < lines; ++i) {
    texts.push_back({RecordText({0, 0, i}), RecordText({0, 1, i}), RecordText({0, 2, i})});
  }

  AllocationsBegin();
  ZinLogger& logger = Logger();
  logger.LimitLogPathSize(noLimit, noLimit);
  logger.LimitMetricsPathSize(noLimit, noLimit);
  StartTwiceIfNeeded([&] {
    (void)logger.StartSystem("app.log", dir.c_str(), noLimit, sizeMiB, INFO, plenty, true);
  });
  StartTwiceIfNeeded([&] {
    (void)logger.StartSystemForMetrics("metrics.log", metricsDir.c_str(), noLimit, sizeMiB, plenty,
                                       false);
  });
  for (const Texts& text : texts) {
    logger.Log("Driver.cpp", 1, "Emit", " ", "", INFO, "%s", text.log.c_str());
    logger.Log("Driver.cpp", 1, "Emit", " ", "net", INFO, "%s", text.net.c_str());
    logger.Metrics("%s", text.metrics.c_str());
  }
  logger.StopSystem();
  AllocationsEnd();
  WaitUntil([] { return CountThreads("zin-log-worker") + CountThreads("zin-met-worker") == 0; },
            "the workers to end");
  std::printf("%lu\n", AllocationsCounted());
  return 0;
}
