#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Probe.h"

namespace {

// Fills the file system to the last byte.
void FillUp(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const std::string block(4096, 'f');
  ssize_t written = 0;
  for (std::size_t size = block.size(); size > 0;) {
    written = write(file, block.data(), size);
    if (written < 0) size /= 2;
  }
  Require(errno == ENOSPC, "the file system did not fill up");
  (void)close(file);
}

// The channel's own directory has room; its sub-directory "small" is a file
// system that fills up. One worker writes all records in order, so a line in
// the directory proves that those before it are dealt with.
int DiskFull(const Arguments& arguments) {
  const std::string& dir = arguments.at(0);
  const std::string small = dir + "/small";
  Require(mkdir(small.c_str(), 0755) == 0, "cannot make a directory");
  if (mount("none", small.c_str(), "tmpfs", 0, "size=128k") != 0) {
    std::cerr << "cannot mount: " << std::strerror(errno) << std::endl;
    return 1;
  }
  StartLog(dir);
  LogLine("before", "small");
  WaitForFile(small + "/app.log");

  FillUp(small + "/filler");
  for (int i = 1; i <= 200; ++i) LogLine("while full " + std::string(100, 'x'), "small");
  LogLine("these are dealt with");
  WaitForFile(dir + "/app.log");
  Require(unlink((small + "/filler").c_str()) == 0, "cannot make room");
  for (int i = 1; i <= 100; ++i) LogLine("room again " + std::to_string(i) + " end", "small");
  Logger().StopSystem();

  std::cout << std::ifstream(small + "/app.log").rdbuf();
  std::cout.flush();
  (void)umount2(small.c_str(), MNT_DETACH);
  return 0;
}

}  // namespace

Command FindDiskCommand(const std::string& name) {
  return name == "disk-full" ? Command(DiskFull) : Command();
}
