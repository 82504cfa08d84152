// standard_error_driver <directory> <ledger> redirected|full <seed>: a process
// whose standard error is not a terminal or a file. Slot i of the ledger: records
// that thread i has handed over; slots from 10 on: records of metrics. Streams:
// writer 0, one per slot.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <mutex>
#include <random>
#include <stop_token>
#include <streambuf>
#include <thread>
#include <vector>

#include "Driver.h"

namespace {

using Random = std::mt19937;
using Clock = std::chrono::steady_clock;

constexpr unsigned threadCount = 4;
constexpr unsigned firstMetricsSlot = 10;
constexpr double longestStop = 10.5;  // seconds of a channel: ten, and some for a busy machine

unsigned Below(Random& random, unsigned end) {
  return static_cast<unsigned>(random() % end);
}

void Pause(Random& random, unsigned mostMicroseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(Below(random, mostMicroseconds)));
}

bool RotatesAtEachLine(unsigned seed) {
  return seed % 2 == 0;
}

// ---- Logged by a buffer of the program's own --------------------------------

// Logs what others print. What came out of the log, with a header, is logged as
// from where it came.
class LoggingBuffer : public std::streambuf {
 public:
  // What programs do about several threads.
  enum class Lock { None, WhileItCollects, WhileItLogs };
  explicit LoggingBuffer(Lock how) : lockKind(how) {}

 protected:
  int_type overflow(int_type character) override {
    if (traits_type::eq_int_type(character, traits_type::eof())) return 0;
    const char one = traits_type::to_char_type(character);
    return xsputn(&one, 1) == 1 ? character : traits_type::eof();
  }
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    // Recursive: what is logged here may come back here.
    std::unique_lock<std::recursive_mutex> lock(mutex, std::defer_lock);
    if (lockKind != Lock::None) lock.lock();
    std::string& line = lockKind == Lock::None ? threadsLine : sharedLine;
    line.append(text, static_cast<std::size_t>(size));
    for (std::size_t end = 0; (end = line.find('\n')) != std::string::npos;) {
      const std::string whole = line.substr(0, end);
      line.erase(0, end + 1);
      if (lockKind == Lock::WhileItCollects) lock.unlock();
      LogWhole(whole);
      if (lockKind == Lock::WhileItCollects) lock.lock();
    }
    return size;
  }

 private:
  static void LogWhole(const std::string& line) {
    std::array<char, 16> level{};
    std::array<char, 64> file{};
    std::array<char, 64> function{};
    int number = 1;
    int message = -1;
    (void)std::sscanf(line.c_str(), "[%*[^]]] [%*[^]]] [%*d] [%15[^]]] [%63[^:]:%d] [%63[^]]]: %n",
                      level.data(), file.data(), &number, function.data(), &message);
    if (message < 0) {
      Logger().Log("Driver.cpp", 1, "Emit", " ", "", INFO, "%s", line.c_str());
    } else {
      Logger().Log(file.data(), number, function.data(), " ", "",
                   std::strcmp(level.data(), "ERROR") == 0 ? ERROR : INFO, "%s",
                   line.c_str() + message);
    }
  }

  const Lock lockKind;
  std::recursive_mutex mutex;
  std::string sharedLine;  // guarded by mutex
  static thread_local std::string threadsLine;
};

thread_local std::string LoggingBuffer::threadsLine;

// Half of the lines are another library's, and printed. Where files rotate at each
// line, they come at a pace that the worker keeps up with while a stop waits for it.
void PrintAndLog(const std::stop_token& stop, unsigned thread, unsigned seed, Ledger& ledger) {
  Random random(seed + thread);
  const unsigned mostPause = RotatesAtEachLine(seed) ? 20000 : 500;
  for (std::uint64_t sequence = 0; !stop.stop_requested(); ++sequence) {
    if (random() % 2 == 0) {
      std::cerr << RecordText({0, thread, sequence}) + '\n';
    } else {
      Emit({0, thread, sequence});
    }
    ledger[thread].store(sequence + 1);
    EmitMetric({0, firstMetricsSlot + thread, sequence});
    ledger[firstMetricsSlot + thread].store(sequence + 1);
    Pause(random, mostPause);
  }
}

// Where a channel has more to write than its worker does in ten seconds, the stop
// gives up; there is less here.
void InTime(const std::string& what, double seconds, const std::function<void()>& action) {
  const auto began = Clock::now();
  action();
  const double took = std::chrono::duration<double>(Clock::now() - began).count();
  Require(took < seconds, what + " took " + std::to_string(took) + " s");
}

void StopBoth(bool metricsFirst) {
  if (metricsFirst) {
    InTime("a stop of the metrics channel", longestStop, [] { Logger().StopMetricSystem(); });
  }
  InTime("a stop", metricsFirst ? longestStop : 2 * longestStop, [] { Logger().StopSystem(); });
}

void StartBoth(const std::string& dir, bool rotates) {
  LogSettings settings;
  if (rotates) settings.fileSizeMiB = 4096;
  InTime("a start", longestStop, [&] {
    StartLogWith(dir, settings);
    StartMetrics(dir + "/metrics");
  });
}

void Redirected(const std::string& dir, Ledger& ledger, unsigned seed) {
  using Lock = LoggingBuffer::Lock;
  constexpr std::array<Lock, 3> kinds{Lock::None, Lock::WhileItCollects, Lock::WhileItLogs};
  Random random(seed);
  // Never freed: a thread of the library may still be in it at the end.
  auto* const buffer = new LoggingBuffer(kinds[seed % kinds.size()]);
  std::streambuf* const former = std::cerr.rdbuf(buffer);
  {
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([&ledger, seed, thread](const std::stop_token& stop) {
        PrintAndLog(stop, thread, seed, ledger);
      });
    }
    for (int cycle = 0; cycle < 3; ++cycle) {
      Pause(random, 30000);
      StartBoth(dir, RotatesAtEachLine(seed));
      Pause(random, 20000);
      StopBoth(random() % 2 == 0);
    }
    Pause(random, 30000);
  }
  // What stands in the queues behind the last stop.
  StartBoth(dir, false);
  StopBoth(true);
  std::cerr.rdbuf(former);
}

// ---- Full, and nobody reads --------------------------------------------------

// Makes descriptor 2 a pipe that takes no more than some pages. The end that
// nobody reads stays open.
void FillStandardError(unsigned pagesLeft) {
  constexpr std::size_t page = 4096;
  std::array<int, 2> ends{};
  Require(pipe2(ends.data(), O_CLOEXEC) == 0, "no pipe");
  Require(fcntl(ends[1], F_SETFL, O_NONBLOCK) == 0, "no pipe that does not block");
  const std::array<char, page> bytes{};
  while (write(ends[1], bytes.data(), bytes.size()) > 0) continue;
  std::array<char, page> taken{};
  for (unsigned i = 0; i < pagesLeft; ++i) {
    Require(read(ends[0], taken.data(), taken.size()) == page, "no page of the pipe");
  }
  Require(fcntl(ends[1], F_SETFL, 0) == 0, "no pipe that blocks");
  Require(dup2(ends[1], STDERR_FILENO) == STDERR_FILENO, "no standard error");
}

void LogRecord(unsigned slot, Ledger& ledger) {
  EmitMetric({0, slot, ledger[slot].load()});
  ++ledger[slot];
}

void LogManyLines(unsigned thread, Ledger& ledger) {
  constexpr unsigned linesPerThread = 500;
  for (unsigned i = 0; i < linesPerThread; ++i) {
    Emit({0, thread, ledger[thread].load()}, i % 50 == 0 ? "sub" : "");
    ++ledger[thread];
    LogRecord(firstMetricsSlot + thread, ledger);
  }
}

void Full(const std::string& dir, Ledger& ledger, unsigned seed) {
  Random random(seed);
  FillStandardError(Below(random, 3));
  for (int cycle = 0; cycle < 2; ++cycle) {
    if (random() % 2 == 0) {
      // Alone: what its worker has to say about the file goes nowhere.
      InTime("a start", longestStop, [&] { StartMetrics(dir + "/metrics"); });
      LogRecord(firstMetricsSlot, ledger);
      WaitForFile(dir + "/metrics/metrics.log");
    }
    StartBoth(dir, random() % 4 == 0);
    {
      std::vector<std::jthread> threads;
      for (unsigned thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&ledger, thread] { LogManyLines(thread, ledger); });
      }
    }
    StopBoth(random() % 2 == 0);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 5, "usage: standard_error_driver <directory> <ledger> redirected|full <seed>");
  const std::string scenario = argv[3];
  Ledger ledger(argv[2]);
  const auto seed = static_cast<unsigned>(std::atoi(argv[4]));
  if (scenario == "redirected") {
    Redirected(argv[1], ledger, seed);
  } else if (scenario == "full") {
    Full(argv[1], ledger, seed);
  } else {
    Fail("no such scenario: " + scenario);
  }
  return 0;
}
