#include "Probe.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace {
constexpr unsigned noLimit = 1000000;
constexpr int keepAll = 100000;
constexpr int fileSizeMiB = 1000;
}  // namespace

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

void StartLog(const std::string& directory, const char* fileName) {
  Logger().LimitLogPathSize(noLimit, noLimit);
  Require(
      Logger().StartSystem(fileName, directory.c_str(), keepAll, fileSizeMiB, INFO, plenty, true),
      "cannot start the log channel");
}

void StartMetrics(const std::string& directory) {
  Logger().LimitMetricsPathSize(noLimit, noLimit);
  Require(Logger().StartSystemForMetrics("metrics.log", directory.c_str(), keepAll, fileSizeMiB,
                                         plenty, false),
          "cannot start the metrics channel");
}

void LogLine(const std::string& message, const char* subDirKey) {
  Logger().Log("Probe.cpp", 1, "Probe", " ", subDirKey, INFO, "%s", message.c_str());
}

void Fail(const std::string& reason) {
  const std::string line = reason + "\n";
  (void)!write(STDOUT_FILENO, line.data(), line.size());
  _exit(1);
}

void Require(bool condition, const std::string& reason) {
  if (!condition) Fail(reason);
}

void WaitUntil(const std::function<bool()>& condition, const std::string& reason) {
  using namespace std::chrono_literals;
  const auto deadline = std::chrono::steady_clock::now() + 50s;
  while (!condition()) {
    Require(std::chrono::steady_clock::now() < deadline, "waited in vain: " + reason);
    std::this_thread::sleep_for(1ms);  // paces the polling, promises nothing
  }
}

void WaitForFile(const std::string& path) {
  WaitUntil(
      [&] {
        struct stat status {};
        return stat(path.c_str(), &status) == 0 && status.st_size > 0;
      },
      path);
}
