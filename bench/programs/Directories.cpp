// Walks over a directory of --count log files: the retention pass and the
// clean-up after a rotation, against a bare loop of readdir and stat:
//
//   bench_directories directories --dir /tmp/bench-logs --count 1000
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <vector>

#include "Clock.h"
#include "LogFileWriter.h"
#include "Options.h"
#include "Report.h"
#include "Retention.h"

namespace {

constexpr const char* content = "x\n";
constexpr std::int64_t bytesOfAFile = 2;
constexpr std::uint32_t noLimit = std::numeric_limits<std::uint32_t>::max();

void FillDirectory(const std::string& directory, int count) {
  for (int i = 0; i < count; ++i) {
    char name[64];
    (void)std::snprintf(name, sizeof name, "/app_20260105090307%03d-%03d-%d.log", i / 1000,
                        i % 1000, 4711);
    std::ofstream(directory + name) << content;
  }
}

// The least that any pass must do: each name, each size.
std::int64_t SumOfSizes(const std::string& directory) {
  std::int64_t bytes = 0;
  DIR* const entries = opendir(directory.c_str());
  if (entries == nullptr) throw std::runtime_error("cannot list " + directory);
  std::string path;
  while (const dirent* const entry = readdir(entries)) {
    struct stat status {};
    path.assign(directory).append("/").append(entry->d_name);
    if (stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) bytes += status.st_size;
  }
  (void)closedir(entries);
  return bytes;
}

template <typename Step>
double Microseconds(Step step) {
  const std::int64_t start = NowNanoseconds();
  step();
  return static_cast<double>(NowNanoseconds() - start) / 1000;
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                   values.end());
  return values[values.size() / 2];
}

void Run(const Options& options) {
  const std::string& directory = options.directory;
  FillDirectory(directory, options.count);
  const std::int64_t bytesBefore = SumOfSizes(directory);
  const LogFileWriter writer("app.log", directory, options.count, /*sizeLimit=*/0);
  const auto count = static_cast<std::uint32_t>(options.count);

  std::vector<double> bare;
  std::vector<double> belowLimits;
  std::vector<double> overLimit;
  std::vector<double> rotation;
  const int repetitions = std::clamp(200'000 / options.count, 5, 1000);
  for (int i = 0; i < repetitions; ++i) {
    bare.push_back(Microseconds([&] { (void)SumOfSizes(directory); }));
    belowLimits.push_back(Microseconds([&] { RunRetentionPass(directory, {noLimit, noLimit}); }));
    // Sorts all by age and deletes two, which come back.
    overLimit.push_back(Microseconds([&] { RunRetentionPass(directory, {count - 1, noLimit}); }));
    if (SumOfSizes(directory) != bytesBefore - 2 * bytesOfAFile) {
      throw std::runtime_error("the pass has not deleted two files");
    }
    FillDirectory(directory, options.count);
    rotation.push_back(Microseconds([&] { RemoveExcessRotatedFiles(writer, ""); }));
  }
  if (SumOfSizes(directory) != bytesBefore) throw std::runtime_error("a pass has deleted files");

  Report report;
  report.Add("library", std::string("libZinLogger"));
  report.Add("bareMicroseconds", Median(bare));
  report.Add("passBelowLimitsMicroseconds", Median(belowLimits));
  report.Add("passOverLimitMicroseconds", Median(overLimit));
  report.Add("rotationMicroseconds", Median(rotation));
  report.Print();
}

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(argc, argv, Run);
}
