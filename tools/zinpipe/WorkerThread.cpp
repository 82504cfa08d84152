#include "WorkerThread.h"

#include <dirent.h>
#include <sys/syscall.h>

#include <charconv>
#include <fstream>
#include <memory>
#include <utility>

namespace {

constexpr const char* threadsOfThisProcess = "/proc/self/task";

std::string FirstWordOf(const std::string& file) {
  std::ifstream stream(file);
  std::string word;
  stream >> word;
  return word;
}

// Number of the system call that the thread sleeps in; -1: it runs, or nobody
// says.
long CallOf(const std::string& word) {
  long number = -1;
  (void)std::from_chars(word.data(), word.data() + word.size(), number);
  return number;
}

std::string FindThread(const std::string& name) {
  const std::unique_ptr<DIR, int (*)(DIR*)> threads(opendir(threadsOfThisProcess), closedir);
  if (threads == nullptr) return {};
  while (const dirent* const entry = readdir(threads.get())) {
    const std::string thread = std::string(threadsOfThisProcess) + "/" + entry->d_name;
    if (FirstWordOf(thread + "/comm") == name) return thread + "/syscall";
  }
  return {};
}

}  // namespace

WorkerThread::WorkerThread(std::string threadName) : name(std::move(threadName)) {}

WorkerThread::State WorkerThread::Now() {
  if (syscallFile.empty()) syscallFile = FindThread(name);
  const std::string word = FirstWordOf(syscallFile);
  if (word.empty()) return State::Unknown;
  const long call = CallOf(word);
  const bool waits = call == SYS_futex || call == SYS_clock_nanosleep || call == SYS_nanosleep;
  return waits ? State::Waits : State::Works;
}
