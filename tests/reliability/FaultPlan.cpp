#include "FaultPlan.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <sstream>

namespace {

std::mutex countsMutex;

std::map<std::string, unsigned long>& CallCounts() {
  static auto& counts = *new std::map<std::string, unsigned long>;
  return counts;
}

const char* Setting(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

bool IsSentinel(const char* path) {
  return path != nullptr && std::strstr(path, "/sentinel") != nullptr;
}

FaultPlan& FaultPlan::Instance() {
  static FaultPlan& plan = *new FaultPlan;
  return plan;
}

FaultPlan::FaultPlan() : keepFolder(Setting("ZIN_FAULT_KEEP")) {
  std::istringstream in(Setting("ZIN_FAULT"));
  char colon = 0;
  std::getline(in, failingCall, ':');
  in >> firstCall >> colon >> error >> colon >> callCount;
}

// The driver is the main thread; whatever else runs belongs to the library, and so
// do two calls of a start.
bool FaultPlan::Counts(const char* call) const {
  if (!isActive.load()) return false;
  const bool isMain = gettid() == getpid();
  const bool isOfStart =
      std::strcmp(call, "pthread_create") == 0 || std::strcmp(call, "start_mkdir") == 0;
  return isMain == isOfStart;
}

std::optional<int> FaultPlan::Decide(const char* call, const char* path) {
  if (!Counts(call) || IsSentinel(path)) return std::nullopt;
  unsigned long number = 0;
  {
    const std::lock_guard<std::mutex> lock(countsMutex);
    number = ++CallCounts()[call];
  }
  if (failingCall != call || number < firstCall || number - firstCall >= callCount) {
    return std::nullopt;
  }
  ++injected;
  return error;
}

void FaultPlan::KeepCopy(const char* path, const char* why) {
  if (keepFolder.empty() || IsSentinel(path)) return;
  struct stat status {};
  if (stat(path, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return;
  const std::string copy =
      keepFolder + "/" + why + "-" + std::to_string(copies.fetch_add(1)) + ".log";
  std::error_code failed;
  std::filesystem::copy_file(path, copy, failed);
}

std::string FaultPlan::CountsJson() {
  const std::lock_guard<std::mutex> lock(countsMutex);
  std::string text = "{";
  for (const auto& [call, count] : CallCounts()) {
    text += (text.size() > 1 ? ", \"" : "\"") + call + "\": " + std::to_string(count);
  }
  return text + "}";
}
