#include "Driver.h"

#include <fcntl.h>
#include <sys/mman.h>
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

Ledger::Ledger(const std::string& path) : slots(nullptr) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  constexpr std::size_t size = slotCount * sizeof(std::atomic<std::uint64_t>);
  Require(file >= 0 && ftruncate(file, size) == 0, "no ledger " + path);
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  Require(memory != MAP_FAILED, "cannot map " + path);
  (void)close(file);
  slots = static_cast<std::atomic<std::uint64_t>*>(memory);
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
