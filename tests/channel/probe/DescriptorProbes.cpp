#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>

#include "Children.h"
#include "Probe.h"

namespace {

// Prints where each of its descriptors leads.
int ListDescriptors(const Arguments&) {
  std::error_code ignored;  // one is that of the listing itself
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::printf("%s\n", std::filesystem::read_symlink(entry.path(), ignored).c_str());
  }
  return 0;
}

// Starts a program while log files are open, and passes on what it prints.
int StartChild(const Arguments& arguments) {
  const std::string& dir = arguments.at(0);
  StartLog(dir);
  StartMetrics(dir + "/metrics");
  LogLine("line");
  LogLine("line", "net");
  Logger().Metrics("record");
  for (const char* const file : {"/app.log", "/net/app.log", "/metrics/metrics.log"}) {
    WaitForFile(dir + file);
  }

  std::string self = "/proc/self/exe";
  std::string command = "list-descriptors";
  std::array<char*, 3> argv{self.data(), command.data(), nullptr};
  pid_t child = -1;
  Require(posix_spawn(&child, self.c_str(), nullptr, nullptr, argv.data(), environ) == 0,
          "cannot start a child");
  int status = 0;
  Require(waitpid(child, &status, 0) == child && status == 0, "the child failed");
  Logger().StopSystem();
  return 0;
}

bool IsClosed(int descriptor) {
  return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF;
}

bool AreStandardStreamsClosed() {
  return IsClosed(STDIN_FILENO) && IsClosed(STDOUT_FILENO) && IsClosed(STDERR_FILENO);
}

// A service that has closed its standard streams, and writes to them all the
// same. The exit status alone tells what came of it.
int ClosedStreams(const Arguments& arguments) {
  const std::string& dir = arguments.at(0);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) (void)close(stream);
  StartLog(dir);
  for (int i = 1; i <= 10; ++i) {
    Logger().Log("Probe.cpp", 1, "Scenario", " ", "", INFO, "line %d", i);
    if (i == 1) WaitForFile(dir + "/app.log");
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      (void)!write(stream, "stray\n", 6);
    }
  }
  // A descriptor that a listing or a look-up takes is given back soon; one of a
  // log file would stay.
  WaitUntil(AreStandardStreamsClosed, "a standard stream was taken");
  Logger().StopSystem();
  LogLine("to a standard error that is not there");
  return 0;
}

// How many of the descriptors of this process refer to files below `directory`.
long DescriptorsBelow(const std::string& directory) {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::count_if(begin(all), end(all), [&](const std::filesystem::directory_entry& entry) {
    std::error_code vanished;
    return std::filesystem::read_symlink(entry, vanished).string().starts_with(directory);
  });
}

// Three generations, each with channels of its own. Each child closes what its
// parent has open, and keeps what is the program's own.
void RunGeneration(const std::string& directory, int generation) {
  const std::string own = directory + "/" + std::to_string(generation);
  StartLog(own + "-log");
  StartMetrics(own + "-metrics");
  LogLine("line");
  LogLine("line", "key");
  Logger().Metrics("record");
  WaitForFile(own + "-log/key/app.log");
  WaitForFile(own + "-metrics/metrics.log");
  // A listing, which retention makes at the start, takes one more for a moment.
  WaitUntil([&] { return DescriptorsBelow(directory) == 4; },
            "the program's file and three of the library");
  if (generation < 3) {
    RunInChild("generation " + std::to_string(generation + 1), [&] {
      Require(DescriptorsBelow(directory) == 1, "the child has its parent's files open");
      RunGeneration(directory, generation + 1);
    });
  }
  LogLine("after the fork");
  Logger().StopSystem();
}

int ForkChain(const Arguments& arguments) {
  const std::string ownFile = arguments.at(0) + "/of-the-program";
  Require(open(ownFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600) >= 0, "no file");
  RunGeneration(arguments.at(0), 1);
  return 0;
}

// Standard error is a pipe that nobody reads any more, and a file later on.
int BrokenPipe(const Arguments& arguments) {
  std::array<int, 2> ends{};
  Require(pipe2(ends.data(), O_CLOEXEC) == 0, "no pipe");
  (void)close(ends[0]);
  Require(dup2(ends[1], STDERR_FILENO) == STDERR_FILENO, "no standard error");
  LogLine("line 1");
  LogLine("line 2");

  const int file =
      open((arguments.at(0) + "/standard-error.txt").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  Require(dup2(file, STDERR_FILENO) == STDERR_FILENO, "no standard error");
  LogLine("line 3");
  return 0;
}

int NoStandardError(const Arguments&) {
  (void)close(STDERR_FILENO);
  for (int i = 0; i < 10; ++i) LogLine("line");
  Logger().Metrics("record");
  return 0;
}

}  // namespace

Command FindDescriptorCommand(const std::string& name) {
  static const std::map<std::string, Command> commands = {
      {"list-descriptors", ListDescriptors},  {"start-child", StartChild},
      {"closed-streams", ClosedStreams},      {"broken-pipe", BrokenPipe},
      {"no-standard-error", NoStandardError}, {"fork-chain", ForkChain},
  };
  const auto found = commands.find(name);
  return found == commands.end() ? Command() : found->second;
}
