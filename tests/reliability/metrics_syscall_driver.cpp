// metrics_syscall_driver <directory> <kept> <variant>: as syscall_driver, with
// the metrics channel. Its records are of two sizes, one line and as many lines as
// one record takes; they have no header, and no second file that would show how
// far the worker is.
//
// Variants, in any combination: "fresh" (no earlier run, no directory),
// "elsewhere" (a directory of another name), "process" (the per-process file
// name), "short" (a file name of three characters, whose rotated files go to the
// working directory), "rotate", "keep", "closed" (as in syscall_driver).
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include "Driver.h"
#include "FaultAccount.h"
#include "Faults.h"
#include "Threads.h"

namespace {

constexpr int rotateEveryLine = 4096;
constexpr int neverRotate = 1000;
constexpr int keepAll = 1000000;
constexpr unsigned noLimit = 1000000;
constexpr std::size_t longestRecord = 8190;  // bytes, without a newline that is added

bool Has(const std::string& variant, const char* feature) {
  return variant.find(feature) != std::string::npos;
}

struct Settings {
  std::string directory;
  std::string fileName;
  int keepFiles = keepAll;
  int fileSizeMiB = neverRotate;
};

Settings SettingsOf(const std::string& variant, const std::string& folder) {
  Settings settings;
  settings.directory = folder + (Has(variant, "elsewhere") ? "/plain" : "/metrics");
  settings.fileName = Logger().GetMetricsLogName(Has(variant, "process"));
  if (Has(variant, "short")) settings.fileName = "abc";
  return settings;
}

void Start(const Settings& settings) {
  Logger().LimitMetricsPathSize(noLimit, noLimit);
  Require(Logger().StartSystemForMetrics(settings.fileName.c_str(), settings.directory.c_str(),
                                         settings.keepFiles, settings.fileSizeMiB, plenty, false),
          "cannot start the metrics channel");
}

// A start that finds no thread throws; once threads can be had, it is repeated.
bool TryToStart(const Settings& settings) {
  try {
    Start(settings);
    return true;
  } catch (const std::system_error&) {
    FaultsEnd();
    Start(settings);
    return false;
  }
}

// Nothing is left to do for a worker that waits to be woken.
bool WorkersAreIdle() {
  const std::vector<pid_t> workers = ThreadsNamed("zin-met-worker");
  return !workers.empty() && std::all_of(workers.begin(), workers.end(), WaitsToBeWoken);
}

// Hands over one record: of one line, or each third time of all that fit.
SequenceRange LogLine(unsigned line, std::uint64_t begin) {
  std::string record = RecordText({1, 0, begin});
  std::uint64_t end = begin + 1;
  while (line % 3 == 1) {
    const std::string more = '\n' + RecordText({1, 0, end});
    if (record.size() + more.size() > longestRecord) break;
    record += more;
    ++end;
  }
  Logger().Metrics("%s", record.c_str());
  return {begin, end};
}

class Session {
 public:
  void Log(bool inLockstep) {
    const auto line = static_cast<unsigned>(lines.size());
    FaultsAtLine(line);
    lines.push_back(LogLine(line, lines.empty() ? 0 : lines.back().end));
    if (inLockstep) WaitUntil(WorkersAreIdle, "the worker at line " + std::to_string(line));
  }
  std::vector<SequenceRange> lines;
};

// `kept` holds what was emptied and removed on the way.
void CheckAccount(const Settings& settings, const std::string& kept, const Session& session,
                  std::uint64_t before) {
  RecordCheck check(LineShapes::Plain());
  check.Add(settings.directory);
  check.Add(kept);
  if (!settings.fileName.ends_with(".log")) {
    check.Add(settings.directory + "/" + settings.fileName);
  }
  CheckFaultAccount(check, before, session.lines);
  const auto calls = static_cast<int>(before + session.lines.size());
  if (Logger().GetMetricsCount() != calls) {
    Broken(std::to_string(Logger().GetMetricsCount()) + " records counted, not " +
           std::to_string(calls));
  }
}

// An earlier run leaves its files. Returns the lines in them.
std::uint64_t RunEarlier(const Settings& settings) {
  std::filesystem::create_directories(settings.directory);
  Start(settings);
  for (std::uint64_t i = 0; i < linesBefore; ++i) EmitMetric({0, 0, i});
  Logger().StopMetricSystem();
  WaitUntil([] { return CountThreads("zin-met-worker") == 0; }, "the worker to end");
  return linesBefore;
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 4, "usage: metrics_syscall_driver <directory> <kept> <variant>");
  const std::string kept = argv[2];
  const std::string variant = argv[3];
  ReportTo(std::string(argv[1]) + "/report.txt");
  FaultsAtLine(0);  // before there are threads: makes the plan that they will read
  Settings settings = SettingsOf(variant, argv[1]);
  const std::uint64_t before = Has(variant, "fresh") ? 0 : RunEarlier(settings);

  if (Has(variant, "rotate")) settings.fileSizeMiB = rotateEveryLine;
  if (Has(variant, "keep")) settings.keepFiles = 1;
  if (Has(variant, "short")) Require(chdir(settings.directory.c_str()) == 0, "chdir");
  if (Has(variant, "closed")) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) (void)close(stream);
  }
  Session session;
  FaultsBegin();
  const bool inLockstep = TryToStart(settings);
  for (unsigned i = 0; i < linesFaulty; ++i) session.Log(inLockstep);
  FaultsEnd();
  for (unsigned i = 0; i < linesAfter; ++i) session.Log(true);
  Logger().StopMetricSystem();
  CheckAccount(settings, kept, session, before);
  ReportCalls();
  return 0;
}
