#include "Threads.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <system_error>

namespace fs = std::filesystem;

namespace {

// Never destroyed: a probe looks at its threads while it exits.
const fs::path& allThreads = *new fs::path("/proc/self/task");

// What follows "name:" and blanks in a thread's status; empty when it has ended.
std::string StatusField(const fs::path& thread, const std::string& name) {
  std::ifstream status(thread / "status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) {
      return line.substr(line.find_first_not_of(" \t", name.size() + 1));
    }
  }
  return {};
}

}  // namespace

std::vector<pid_t> ThreadsNamed(const std::string& name) {
  std::vector<pid_t> threads;
  std::error_code ignored;  // a thread may end while the directory is read
  for (const auto& entry : fs::directory_iterator(allThreads, ignored)) {
    if (StatusField(entry.path(), "Name") == name) {
      threads.push_back(std::stoi(entry.path().filename().string()));
    }
  }
  return threads;
}

bool IsAsleep(pid_t thread) {
  return StatusField(allThreads / std::to_string(thread), "State").starts_with("S");
}

bool OtherThreadsSleep() {
  for (const auto& entry : fs::directory_iterator(allThreads)) {
    const pid_t thread = std::stoi(entry.path().filename().string());
    if (thread != gettid() && !IsAsleep(thread)) return false;
  }
  return true;
}

bool WaitsToBeWoken(pid_t thread) {
  // The number of the system call it is in, and its arguments.
  std::ifstream call(allThreads / std::to_string(thread) / "syscall");
  long number = -1;
  return call >> number && number == SYS_futex && IsAsleep(thread);
}

std::uint64_t BlockedSignalsOf(pid_t thread) {
  const std::string mask = StatusField(allThreads / std::to_string(thread), "SigBlk");
  return mask.empty() ? 0 : std::stoull(mask, nullptr, 16);
}
