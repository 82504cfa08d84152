// hostile_driver <directory> <ledger> <scenario> <amount>: a process that treats
// the library badly. Slot i of the ledger: records that thread i has handed
// over. Streams: writer 0, one per thread.
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <thread>
#include <vector>

#include "Driver.h"

namespace {

namespace fs = std::filesystem;

// Everything below is used to the very end of the process.
std::string dir;
Ledger* ledger = nullptr;
unsigned amount = 0;

void LogLines(unsigned thread, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) {
    Emit({0, thread, (*ledger)[thread].load()});
    ++(*ledger)[thread];
  }
}

// ---- Descriptors -----------------------------------------------------------

bool IsLogFile(int descriptor) {
  std::array<char, 4096> target{};
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  return readlink(link.c_str(), target.data(), target.size() - 1) > 0 &&
         std::string(target.data()).ends_with(".log");
}

constexpr int openForWriting = 3;
constexpr int openForReading = 4;  // or closed again since

// Rotates all the time while the standard streams are closed, and looks who
// gets their descriptors.
void ClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) (void)close(stream);
  LogSettings settings;
  settings.fileSizeMiB = 4096;
  StartLogWith(dir, settings);
  std::jthread logger([] { LogLines(0, amount); });
  for (unsigned i = 0; i < 20 * amount; ++i) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      if (IsLogFile(stream)) {
        const int flags = fcntl(stream, F_GETFL);
        _exit(flags >= 0 && (flags & O_ACCMODE) != O_RDONLY ? openForWriting : openForReading);
      }
      // Bare, or the thread sanitizer objects: it races with whoever has this
      // descriptor for the moment, and that is the point.
      (void)syscall(SYS_write, stream, "stray\n", 6);
    }
  }
  logger.join();
  Logger().StopSystem();
  LogLine("to a standard error that is not there");
}

// Standard error is a pipe without a reader, before the start and after the stop.
void BrokenPipe() {
  std::array<int, 2> ends{};
  Require(pipe2(ends.data(), O_CLOEXEC) == 0, "no pipe");
  (void)close(ends[0]);
  Require(dup2(ends[1], STDERR_FILENO) == STDERR_FILENO, "no standard error");
  for (unsigned i = 0; i < amount; ++i) LogLine("before");
  StartLogWith(dir, {});
  LogLines(0, amount);
  Logger().StopSystem();
  for (unsigned i = 0; i < amount; ++i) LogLine("after");
}

// ---- Threads and signals ---------------------------------------------------

// Threads are cancelled in mid-logging; a record is handed over or it is not.
void Cancel() {
  StartLogWith(dir, {});
  for (unsigned thread = 0; thread < amount; ++thread) {
    std::atomic<bool> isLogging{false};
    pthread_t handle{};
    struct Start {
      unsigned thread;
      std::atomic<bool>* isLogging;
    } start{thread, &isLogging};
    Require(pthread_create(
                &handle, nullptr,
                [](void* argument) -> void* {
                  const Start& mine = *static_cast<Start*>(argument);
                  const unsigned number = mine.thread;
                  *mine.isLogging = true;
                  for (std::uint64_t i = 0;; ++i) {
                    Emit({0, number, i});
                    if (i % 64 == 0) pthread_testcancel();
                  }
                },
                &start) == 0,
            "no thread");
    while (!isLogging) std::this_thread::yield();
    Require(pthread_cancel(handle) == 0, "cannot cancel");
    Require(pthread_join(handle, nullptr) == 0, "cannot join");
  }
  Logger().StopSystem();
  // Not running: the lines of cancelled threads go to standard error.
  for (unsigned thread = 0; thread < amount; ++thread) {
    std::thread logger([] {
      for (;;) {
        LogLine("to standard error");
        pthread_testcancel();
      }
    });
    Require(pthread_cancel(logger.native_handle()) == 0, "cannot cancel");
    logger.join();
  }
}

std::atomic<unsigned> signalsHandled{0};
std::atomic<unsigned> handledByLibrary{0};
thread_local bool isOwnThread = false;

void CountSignal(int) {
  ++signalsHandled;
  if (!isOwnThread) ++handledByLibrary;
}

// Signals all the time, to the process as a whole; handlers must only ever run
// on the application's threads.
void Signals() {
  isOwnThread = true;
  struct sigaction action {};
  action.sa_handler = CountSignal;
  for (const int signal : {SIGUSR1, SIGALRM, SIGHUP, SIGCHLD}) {
    Require(sigaction(signal, &action, nullptr) == 0, "sigaction");
  }
  LogSettings settings;
  settings.fileSizeMiB = 1;
  StartLogWith(dir, settings);
  std::atomic<bool> isOver{false};
  std::jthread sender([&] {
    isOwnThread = true;
    while (!isOver) {
      for (const int signal : {SIGUSR1, SIGALRM, SIGHUP, SIGCHLD}) (void)kill(getpid(), signal);
      const timespec pause{0, 20000};
      (void)nanosleep(&pause, nullptr);
    }
  });
  LogLines(0, amount);
  // Only the library's threads are left that could take them.
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  LogLines(0, amount);
  isOver = true;
  sender.join();
  Logger().StopSystem();
  Require(signalsHandled > 10, "hardly any signal came");
  Require(handledByLibrary == 0, "a handler ran on a library thread");
}

// ---- Clock and masks -------------------------------------------------------

void TimeZones() {
  LogSettings settings;
  settings.fileSizeMiB = 4096;
  StartLogWith(dir, settings);
  std::atomic<bool> isOver{false};
  std::jthread logger([&] {
    LogLines(0, amount);
    isOver = true;
  });
  const std::array<const char*, 4> zones = {"UTC", "America/New_York", "Asia/Kolkata", "XYZ-5:30"};
  // setenv would race with what reads the environment; it is set beforehand,
  // and its text, which is ours, changes in place between two calls of tzset.
  static std::array<char, 32> zone{"TZ=UTC"};
  Require(putenv(zone.data()) == 0, "putenv");
  for (unsigned i = 0; !isOver; ++i) {
    std::snprintf(zone.data(), zone.size(), "TZ=%s", zones[i % zones.size()]);
    tzset();
  }
  logger.join();
  Logger().StopSystem();
}

void CheckMode(const std::string& path, unsigned mode) {
  struct stat status {};
  Require(stat(path.c_str(), &status) == 0, "no " + path);
  Require((status.st_mode & 07777U) == mode, path + " has another mode");
}

void Masks() {
  for (const unsigned mask : {0U, 077U}) {
    umask(mask);
    const std::string folder = dir + "/mask-" + std::to_string(mask);
    fs::create_directories(folder + "/metrics");
    StartLogWith(folder, {});
    StartMetrics(folder + "/metrics");
    LogLines(mask, amount);
    EmitMetric({0, 0, 0});
    Emit({0, 99, 0}, "net");
    Logger().StopSystem();
    CheckMode(folder + "/app.log", 0640);
    CheckMode(folder + "/net/app.log", 0640);
    CheckMode(folder + "/net", 0750U & ~mask);
    CheckMode(folder + "/metrics/metrics.log", 0660);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 5, "usage: hostile_driver <directory> <ledger> <scenario> <amount>");
  dir = argv[1];
  ledger = new Ledger(argv[2]);
  amount = static_cast<unsigned>(std::atoi(argv[4]));
  static const std::map<std::string, void (*)()> scenarios = {
      {"closed-streams", ClosedStreams},
      {"broken-pipe", BrokenPipe},
      {"cancel", Cancel},
      {"signals", Signals},
      {"time-zones", TimeZones},
      {"masks", Masks},
  };
  const auto found = scenarios.find(argv[3]);
  Require(found != scenarios.end(), "no such scenario");
  found->second();
  return 0;
}
