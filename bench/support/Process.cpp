#include "Process.h"

#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace fs = std::filesystem;

namespace {

std::int64_t Nanoseconds(const timeval& time) {
  return (std::int64_t{time.tv_sec} * 1'000'000 + time.tv_usec) * 1000;
}

// A line of /proc/self/status such as "VmRSS:     1234 kB".
std::int64_t StatusKiB(std::string_view field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field)) return std::stoll(line.substr(field.size()));
  }
  throw std::runtime_error("/proc/self/status lacks " + std::string(field));
}

template <typename Visit>
void ForEachFile(const std::string& directory, Visit visit) {
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    if (entry.is_regular_file() && !entry.is_symlink()) visit(entry);
  }
}

}  // namespace

std::int64_t CpuNanoseconds() {
  rusage usage{};
  (void)getrusage(RUSAGE_SELF, &usage);
  return Nanoseconds(usage.ru_utime) + Nanoseconds(usage.ru_stime);
}

std::int64_t ResidentKiB() {
  return StatusKiB("VmRSS:");
}
std::int64_t PeakResidentKiB() {
  return StatusKiB("VmHWM:");
}

FileContents ReadFiles(const std::string& directory) {
  FileContents contents;
  ForEachFile(directory, [&](const fs::directory_entry& entry) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      contents.bytes += static_cast<std::int64_t>(line.size()) + 1;
      // The whole message: a line that was torn apart or mixed is a lost one.
      const std::size_t start = line.find("order ");
      if (start != std::string::npos && line.find("order ", start + 1) == std::string::npos &&
          line.ends_with(" us in all")) {
        ++contents.lines;
      }
    }
  });
  return contents;
}

std::int64_t BytesOfFiles(const std::string& directory) {
  std::int64_t bytes = 0;
  ForEachFile(directory, [&](const fs::directory_entry& entry) {
    bytes += static_cast<std::int64_t>(entry.file_size());
  });
  return bytes;
}

void WaitUntilDrained(const std::string& directory) {
  for (std::int64_t before = -1, now = 0; before != now;) {
    before = now;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    now = BytesOfFiles(directory);
    if (now == 0) before = -1;
  }
}
