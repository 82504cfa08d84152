#include "Driver.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {
constexpr unsigned noLimit = 1000000;
}

void Emit(const RecordId& id, const char* subDirKey) {
  const std::string text = RecordText(id);
  Logger().Log("Driver.cpp", 1, "Emit", " ", subDirKey, INFO, "%s", text.c_str());
}

void EmitMetric(const RecordId& id) {
  Logger().Metrics("%s", RecordText(id).c_str());
}

void StartLogWith(const std::string& directory, const LogSettings& settings) {
  Logger().LimitLogPathSize(noLimit, noLimit);
  Require(Logger().StartSystem(settings.fileName, directory.c_str(), settings.keepFiles,
                               settings.fileSizeMiB, INFO, settings.queueCapacity, true),
          "cannot start the log channel");
}

void Stall(const std::string& path) {
  Require(mkfifo(path.c_str(), 0640) == 0, "no fifo " + path);
}

void EndStall(const std::string& path) {
  WaitUntil(
      [&] {
        const int writer = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (writer >= 0) (void)close(writer);
        return writer >= 0;
      },
      "the stalled worker at " + path);
}

unsigned CountThreads(const std::string& nameBegin) {
  unsigned count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream in(task.path() / "comm");
    std::string name;
    if (std::getline(in, name) && name.starts_with(nameBegin)) ++count;
  }
  return count;
}
