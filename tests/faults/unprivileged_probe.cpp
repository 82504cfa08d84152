// Uses the library's file operations as a user without rights and prints what
// they return. Run by UnprivilegedTest.cpp; its directory is the user's own.
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "LogFileWriter.h"
#include "ZinDir.h"
#include "ZinDirOwnership.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t noLimit = std::uint64_t{1} << 40;

void WriteOne(LogFileWriter& writer, const char* line) {
  writer.WriteLine("", line);
  std::printf("%zu\n", writer.openFiles.size());
}

// The directory cannot be written at first, and then it can.
int DirectoryThatOpensUp(const std::string& dir) {
  if (chmod(dir.c_str(), 0500) != 0) return 2;
  LogFileWriter writer("app.log", dir, 5, noLimit);
  WriteOne(writer, "lost\n");
  if (chmod(dir.c_str(), 0700) != 0) return 2;
  WriteOne(writer, "kept\n");
  return 0;
}

// The log directory itself cannot be made at first.
int DirectoryThatCannotBeMade(const std::string& dir) {
  if (chmod(dir.c_str(), 0500) != 0) return 2;
  LogFileWriter writer("app.log", dir + "/log", 5, noLimit);
  WriteOne(writer, "lost\n");
  if (chmod(dir.c_str(), 0700) != 0) return 2;
  WriteOne(writer, "kept\n");
  return 0;
}

// A file that may be written but not read is no file of an earlier run.
int UnreadableFile(const std::string& dir) {
  if (chmod((dir + "/app.log").c_str(), 0200) != 0) return 2;
  LogFileWriter writer("app.log", dir, 5, noLimit);
  WriteOne(writer, "line\n");
  return 0;
}

// A directory that may be written at first, so that the file is there, but not
// when it is to be renamed.
int RenameWithoutRight(const std::string& dir) {
  LogFileWriter writer("app.log", dir, 5, 10);
  WriteOne(writer, "12345\n");
  if (chmod(dir.c_str(), 0500) != 0) return 2;
  WriteOne(writer, "67890\n");
  WriteOne(writer, "abc\n");
  return chmod(dir.c_str(), 0700) == 0 ? 0 : 2;
}

int ListUnreadableDirectory(const std::string& dir) {
  if (chmod(dir.c_str(), 0300) != 0) return 2;
  const std::size_t logs = ZinListLogFiles(dir).size();
  const std::size_t rotated = ZinListRotatedFiles("app.log", dir).size();
  ZinRemoveDirRecursive(dir);
  std::printf("%zu %zu\n", logs, rotated);
  return chmod(dir.c_str(), 0700) == 0 ? 0 : 2;
}

int ExamineBehindAClosedDirectory(const std::string& dir) {
  if (chmod(dir.c_str(), 0000) != 0) return 2;
  const std::string file = dir + "/app.log";
  std::printf("%llu %llu %d\n", static_cast<unsigned long long>(ZinGetFileSize(file)),
              static_cast<unsigned long long>(ZinGetFileModifyTime(file)),
              ZinIsPathResolvable(file.c_str(), static_cast<int>(file.size())) ? 1 : 0);
  return chmod(dir.c_str(), 0700) == 0 ? 0 : 2;
}

// The account root exists everywhere, and nothing may be handed to it.
int HandOver(const std::string& dir) {
  std::printf("%d\n", ZinChownDirAndFirstDepthFiles(dir.c_str(), "root"));
  std::printf("%d\n", ZinChownDirAndFirstDepthFiles(dir.c_str(), "root"));
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fputs("usage: unprivileged_probe <scenario> <directory>\n", stderr);
    return 2;
  }
  const std::string scenario = arguments[1];
  const std::string dir = arguments[2];
  if (scenario == "directory-that-opens-up") return DirectoryThatOpensUp(dir);
  if (scenario == "directory-that-cannot-be-made") return DirectoryThatCannotBeMade(dir);
  if (scenario == "unreadable-file") return UnreadableFile(dir);
  if (scenario == "rename-without-right") return RenameWithoutRight(dir);
  if (scenario == "list-unreadable-directory") return ListUnreadableDirectory(dir);
  if (scenario == "examine-behind-a-closed-directory") return ExamineBehindAClosedDirectory(dir);
  if (scenario == "hand-over") return HandOver(dir);
  std::fputs("unprivileged_probe: no such scenario\n", stderr);
  return 2;
}
