#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "Callers.h"
#include "FileWrites.h"
#include "FromOptions.h"
#include "Histogram.h"
#include "Logger.h"
#include "Measures.h"
#include "Options.h"
#include "Process.h"
#include "Report.h"

namespace fs = std::filesystem;

namespace {

// Where in the one file each order's line ends, in the order of the lines.
std::vector<std::int64_t> EndsOfLines(const std::string& directory) {
  std::vector<std::int64_t> ends;
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (entry.is_symlink()) continue;
    if (!ends.empty()) throw std::runtime_error("lateness is measured within one file");
    std::ifstream file(entry.path());
    std::int64_t end = 0;
    for (std::string line; std::getline(file, line);) {
      end += static_cast<std::int64_t>(line.size()) + 1;
      if (line.find("order ") != std::string::npos) ends.push_back(end);
    }
  }
  return ends;
}

}  // namespace

void MeasureLateness(const Options& options, Report& report) {
  const auto lines = static_cast<std::size_t>(options.seconds * options.rate);
  if (lines > 50000) throw std::runtime_error("so many lines would rotate the file");
  std::vector<std::int64_t> returned(lines);
  NoteFileWrites(4 * lines + 100);
  logger::Start(SetupOf(options));
  RunCallers(1, [&](int thread) {
    const std::int64_t start = NowNanoseconds();
    const std::int64_t period = 1'000'000'000 / options.rate;
    for (std::size_t i = 0; i < lines; ++i) {
      PassTimeUntil(start + static_cast<std::int64_t>(i) * period, /*spin=*/false);
      logger::Log(MakeOrder(thread, static_cast<int>(i)));
      returned[i] = NowNanoseconds();
    }
  });
  logger::Stop();
  const std::vector<FileWrite> writes = NotedFileWrites();

  Histogram lateness;
  auto write = writes.begin();
  const std::vector<std::int64_t> ends = EndsOfLines(options.directory);
  for (std::size_t i = 0; i < std::min(lines, ends.size()); ++i) {
    while (write != writes.end() && write->fileSize < ends[i]) ++write;
    if (write == writes.end()) throw std::runtime_error("a line came without a write");
    // A line may be in the file before the call has returned; it is not late.
    lateness.Record(write->nanoseconds - returned[i]);
  }
  report.Add("expectedLines", static_cast<std::int64_t>(lines));
  report.Add("lateness", lateness);
}
