// syscall_driver <directory> <kept> <variant>: logs in lockstep with the worker
// while fault_injector lets system calls fail, and checks itself what is on
// disk afterwards. Prints the calls it made; status 1 and the reason when a
// promise is broken.
//
// Variants, in any combination: "rotate" (a rotation at every line), "keep"
// (few rotated files are kept, so that files are removed), "closed" (the
// standard streams are closed), "metrics" (the mode of metrics files).
#include <unistd.h>

#include <filesystem>
#include <system_error>
#include <vector>

#include "Driver.h"
#include "FaultAccount.h"
#include "Faults.h"

namespace {

constexpr int rotateEveryLine = 4096;

// Two files take turns.
const char* KeyOf(std::uint64_t sequence) {
  return sequence % 2 == 0 ? "" : "net";
}

// Logs a line and waits until the worker has dealt with it.
void LogInLockstep(const RecordId& id, unsigned line) {
  FaultsAtLine(line);
  const std::uint64_t before = FaultsSentinels();
  Emit(id, KeyOf(id.sequence));
  Logger().Log("Driver.cpp", 1, "Emit", " ", "sentinel", INFO, "%u", line);
  WaitUntil([=] { return FaultsSentinels() > before; },
            "the worker at line " + std::to_string(line));
}

// A start that finds no thread throws; once threads can be had, it is repeated.
bool TryToStart(const std::string& dir, const LogSettings& settings) {
  try {
    StartLogWith(dir, settings);
    return true;
  } catch (const std::system_error&) {
    FaultsEnd();
    StartLogWith(dir, settings);
    return false;
  }
}

// `kept` holds what was emptied and removed on the way.
void CheckAccount(const std::string& dir, const std::string& kept) {
  RecordCheck check(LineShapes::WithHeader("syscall_driver"));
  for (const std::string& folder : {dir, dir + "/net", kept}) {
    if (std::filesystem::is_directory(folder)) check.Add(folder);
  }
  std::vector<SequenceRange> lines;
  for (std::uint64_t i = 0; i < linesFaulty + linesAfter; ++i) lines.push_back({i, i + 1});
  CheckFaultAccount(check, linesBefore, lines);
}

bool Has(const std::string& variant, const char* feature) {
  return variant.find(feature) != std::string::npos;
}

LogSettings SettingsOf(const std::string& variant) {
  LogSettings settings;
  if (Has(variant, "rotate")) settings.fileSizeMiB = rotateEveryLine;
  if (Has(variant, "keep")) settings.keepFiles = 1;
  return settings;
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 4, "usage: syscall_driver <directory> <kept> <variant>");
  const std::string kept = argv[2];
  const std::string variant = argv[3];
  const std::string dir = std::string(argv[1]) + (Has(variant, "metrics") ? "/metrics" : "/plain");
  ReportTo(std::string(argv[1]) + "/report.txt");
  FaultsAtLine(0);  // before there are threads: makes the plan that they will read
  std::filesystem::create_directories(dir);

  // An earlier run leaves its files.
  StartLogWith(dir, {});
  for (std::uint64_t i = 0; i < linesBefore; ++i) Emit({0, 0, i}, KeyOf(i));
  Logger().StopSystem();
  WaitUntil([] { return CountThreads("zin-log-worker") == 0; }, "the worker to end");

  if (Has(variant, "closed")) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) (void)close(stream);
  }
  FaultsBegin();
  if (TryToStart(dir, SettingsOf(variant))) {
    for (unsigned i = 0; i < linesFaulty; ++i) LogInLockstep({1, 0, i}, i);
  } else {
    for (unsigned i = 0; i < linesFaulty; ++i) Emit({1, 0, i}, KeyOf(i));
  }
  FaultsEnd();
  for (unsigned i = linesFaulty; i < linesFaulty + linesAfter; ++i) LogInLockstep({1, 0, i}, i);
  Logger().StopSystem();
  CheckAccount(dir, kept);
  ReportCalls();
  return 0;
}
