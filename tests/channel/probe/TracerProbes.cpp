#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <map>

#include "Probe.h"

namespace {

constexpr unsigned noLimit = 1000000;
constexpr int rotateAtEveryLine = 4096;  // the low 12 bits count

void StartOn(const std::string& directory, const char* fileName, int keepFiles, int fileSizeMiB,
             unsigned long queueCapacity) {
  Logger().LimitLogPathSize(noLimit, noLimit);
  Require(Logger().StartSystem(fileName, directory.c_str(), keepFiles, fileSizeMiB, INFO,
                               queueCapacity, true),
          "cannot start the log channel");
}

// traced-drops <directory>: five lines and three records find no room, and the
// line of the stop neither.
int Drops(const Arguments& arguments) {
  const std::string& dir = arguments.at(0);
  StartOn(dir, "app.log", 1, 1, 0);
  Require(Logger().StartSystemForMetrics("metrics.log", (dir + "/metrics").c_str(), 1, 1, 0, false),
          "cannot start the metrics channel");
  for (int i = 1; i <= 5; ++i) LogLine("line " + std::to_string(i));
  for (int i = 1; i <= 3; ++i) Logger().Metrics("record %d", i);
  Logger().StopSystem();
  return 0;
}

// traced-rotations <directory>
int Rotations(const Arguments& arguments) {
  StartOn(arguments.at(0), "app.log", 2, rotateAtEveryLine, plenty);
  for (int i = 1; i <= 5; ++i) LogLine("line " + std::to_string(i));
  Logger().StopSystem();
  return 0;
}

// traced-removal-failure <directory>: a folder with a file in it bears the name of
// an old rotated file.
int RemovalFailure(const Arguments& arguments) {
  const std::string folder = arguments.at(0) + "/app_0.log";
  Require(mkdir(folder.c_str(), 0700) == 0 && mkdir((folder + "/in").c_str(), 0700) == 0,
          "cannot make a folder");
  StartOn(arguments.at(0), "app.log", 0, rotateAtEveryLine, plenty);
  LogLine("line");
  Logger().StopSystem();
  return 0;
}

// traced-rename-failure <directory>: a name without ".log" moves into the working
// directory, which is another file system and takes nothing.
int RenameFailure(const Arguments& arguments) {
  Require(chdir("/proc") == 0, "cannot enter /proc");
  StartOn(arguments.at(0), "app", 2, rotateAtEveryLine, plenty);
  LogLine("line");
  Logger().StopSystem();
  return 0;
}

// traced-open-failure <directory>: the file is a link to nowhere.
int OpenFailure(const Arguments& arguments) {
  Require(symlink("/nowhere/at/all", (arguments.at(0) + "/app.log").c_str()) == 0,
          "cannot make a link");
  StartOn(arguments.at(0), "app.log", 2, 1, plenty);
  LogLine("line");
  Logger().StopSystem();
  return 0;
}

// traced-write-failure <directory>: no file may grow any more.
int WriteFailure(const Arguments& arguments) {
  StartOn(arguments.at(0), "app.log", 2, 1, plenty);
  LogLine("fits");
  WaitForFile(arguments.at(0) + "/app.log");
  (void)std::signal(SIGXFSZ, SIG_IGN);
  const rlimit none{0, 0};
  Require(setrlimit(RLIMIT_FSIZE, &none) == 0, "cannot set the limit");
  LogLine("does not fit");
  Logger().StopSystem();
  return 0;
}

// traced-stop-timeout <directory>: nobody reads the pipe in the file's place.
int StopTimeout(const Arguments& arguments) {
  StartOn(arguments.at(0), "app.log", 2, 1, plenty);
  LogLine("line");
  Logger().StopSystem();
  _exit(0);
}

}  // namespace

Command FindTracerCommand(const std::string& name) {
  static const std::map<std::string, Command> commands = {
      {"traced-drops", Drops},
      {"traced-rotations", Rotations},
      {"traced-removal-failure", RemovalFailure},
      {"traced-rename-failure", RenameFailure},
      {"traced-open-failure", OpenFailure},
      {"traced-write-failure", WriteFailure},
      {"traced-stop-timeout", StopTimeout},
  };
  const auto found = commands.find(name);
  return found == commands.end() ? Command{} : found->second;
}
