// exit_driver <directory> <ledger> <kind>: ends its process in one of the ways
// that a service does without a stop, with lines still queued. Slot i of the
// ledger: records that thread i has handed over.
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "Driver.h"
#include "Sanitizers.h"

namespace {

// Callers are slowed down more than the worker, which would keep up with them; so
// it is held up until the last line is queued.
constexpr bool workerIsHeldUp = builtWithThreadSanitizer || builtWithAddressSanitizer;
constexpr std::uint64_t queuedLines = workerIsHeldUp ? 10000 : 100000;
constexpr unsigned threadCount = 4;
constexpr unsigned threadOfEarlyObject = 100;
constexpr unsigned threadOfLateObject = 101;

// Everything below lives to the very end: threads still use it then.
Ledger* ledger = nullptr;

void LogLines(unsigned thread, std::uint64_t count) {
  for (std::uint64_t sequence = 0; sequence < count; ++sequence) {
    Emit({0, thread, sequence});
    (*ledger)[thread].store(sequence + 1);
  }
}

// Logs out of a destructor of static storage duration.
class LogsWhenDestroyed {
 public:
  explicit LogsWhenDestroyed(unsigned asThread) : thread(asThread) {}
  ~LogsWhenDestroyed() {
    if (ledger == nullptr) return;
    LogLines(thread, 10);
    Logger().StopMetricSystem();
  }
  LogsWhenDestroyed(const LogsWhenDestroyed&) = delete;
  LogsWhenDestroyed& operator=(const LogsWhenDestroyed&) = delete;

 private:
  unsigned thread;
};

// Built before the logger, so it is destroyed after it.
const LogsWhenDestroyed earlyObject(threadOfEarlyObject);

void QueueLines(const std::string& dir) {
  LogLines(0, queuedLines);
  if (workerIsHeldUp) EndStall(dir + "/app.log");
}

void StartLogging(unsigned threads) {
  for (unsigned thread = 0; thread < threads; ++thread) {
    std::thread([thread] { LogLines(thread, UINT64_MAX); }).detach();
  }
  // All of them are under way when the process ends.
  for (unsigned thread = 0; thread < threads; ++thread) {
    WaitUntil([thread] { return (*ledger)[thread].load() > 1000; }, "a thread to begin");
  }
}

[[noreturn]] void Sleep() {
  for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

bool EndsWithQueue(const std::string& kind) {
  return kind == "return-queued" || kind == "return-two-workers" || kind == "quick_exit" ||
         kind == "_exit";
}

int End(const std::string& kind, const std::string& dir) {
  if (kind == "return-queued") {
    QueueLines(dir);
    return 0;
  }
  if (kind == "return-logging") {
    StartLogging(threadCount);
    return 0;
  }
  if (kind == "return-two-workers") {
    StartLogWith(dir, {});
    QueueLines(dir);
    return 0;
  }
  if (kind == "exit-second-thread") {
    StartLogging(2);
    std::thread([] { std::exit(0); }).detach();
    Sleep();
  }
  if (kind == "late-destructor") {
    static const LogsWhenDestroyed lateObject(threadOfLateObject);
    LogLines(0, 1000);
    return 0;
  }
  QueueLines(dir);
  if (kind == "quick_exit") std::quick_exit(0);
  if (kind == "_exit") _exit(0);
  Fail("no such kind: " + kind);
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 4, "usage: exit_driver <directory> <ledger> <kind>");
  ledger = new Ledger(argv[2]);
  const std::string kind = argv[3];
  LogSettings settings;
  if (kind == "return-two-workers" || kind == "late-destructor") settings.fileSizeMiB = 1;
  if (workerIsHeldUp && EndsWithQueue(kind)) {
    std::filesystem::create_directories(argv[1]);
    Stall(std::string(argv[1]) + "/app.log");
  }
  StartLogWith(argv[1], settings);
  return End(kind, argv[1]);
}
