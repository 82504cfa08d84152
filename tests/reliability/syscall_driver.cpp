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
#include <fstream>
#include <stdexcept>

#include "Driver.h"
#include "Faults.h"
#include "RecordCheck.h"

namespace {

constexpr std::uint64_t linesBefore = 4;  // of an earlier run, writer 0
constexpr std::uint64_t linesFaulty = 8;  // while calls fail, writer 1
constexpr std::uint64_t linesAfter = 4;   // when they fail no more, writer 1
constexpr int rotateEveryLine = 4096;

std::string report;  // standard output may be closed

[[noreturn]] void Broken(const std::string& reason) {
  std::ofstream(report) << reason << '\n';
  _exit(1);
}

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

bool IsOnDisk(const RecordCheck& check, unsigned writer, std::uint64_t sequence) {
  const RecordCheck::Stream* const stream = check.Find(writer, 0);
  return stream != nullptr && sequence < stream->timesSeen.size() &&
         stream->timesSeen[sequence] != 0;
}

unsigned CountFailedWrites() {
  unsigned count = 0;
  for (unsigned line = 0; line < linesFaulty; ++line) count += FaultsWriteFailedAt(line) ? 1U : 0U;
  return count;
}

// `kept` holds what was emptied and removed on the way.
void CheckAccount(const std::string& dir, const std::string& kept) {
  RecordCheck check(LineShapes::WithHeader("syscall_driver"));
  for (const std::string& folder : {dir, dir + "/net", kept}) {
    if (std::filesystem::is_directory(folder)) check.Add(folder);
  }
  if (check.damaged > 0) Broken("damaged: " + check.firstDamaged);
  if (check.duplicates > 0) Broken("doubled lines");
  if (check.cutInside + check.cutTails > CountFailedWrites()) Broken("cut where no write failed");
  if (FaultsUnexcused() > 0) Broken("a file was emptied without a reason");

  for (std::uint64_t i = 0; i < linesBefore; ++i) {
    if (!IsOnDisk(check, 0, i)) Broken("lost line " + std::to_string(i) + " of the earlier run");
  }
  for (unsigned i = 0; i < linesFaulty + linesAfter; ++i) {
    const bool isExcused = i < linesFaulty && (FaultsWriteFailedAt(i) || FaultsOpenFailedAt(i));
    if (!IsOnDisk(check, 1, i) && !isExcused) Broken("lost line " + std::to_string(i));
  }
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
  report = std::string(argv[1]) + "/report.txt";
  std::filesystem::create_directories(dir);

  // An earlier run leaves its files.
  StartLogWith(dir, {});
  for (std::uint64_t i = 0; i < linesBefore; ++i) Emit({0, 0, i}, KeyOf(i));
  Logger().StopSystem();
  WaitUntil([] { return CountThreads("zin-log-worker") == 0; }, "the worker to end");

  if (Has(variant, "closed")) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) (void)close(stream);
  }
  FaultsAtLine(0);
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
  std::ofstream(report) << "{\"injected\": " << FaultsInjected()
                        << ", \"counts\": " << FaultsCounts() << "}\n";
  return 0;
}
