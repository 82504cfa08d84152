// Settings of the whole process, changed for the length of a scope.
#ifndef ZIN_TEST_PROCESS_SETTINGS_H
#define ZIN_TEST_PROCESS_SETTINGS_H

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask) : former(umask(mask)) {}
  ~ScopedUmask() { (void)umask(former); }
  ScopedUmask(const ScopedUmask&) = delete;
  ScopedUmask& operator=(const ScopedUmask&) = delete;

 private:
  mode_t former;
};

class ScopedWorkingDirectory {
 public:
  explicit ScopedWorkingDirectory(const std::string& path)
      : former(std::filesystem::current_path()) {
    EXPECT_EQ(chdir(path.c_str()), 0) << path;
  }
  ~ScopedWorkingDirectory() {
    std::error_code ignored;  // nobody depends on the directory after the test
    std::filesystem::current_path(former, ignored);
  }
  ScopedWorkingDirectory(const ScopedWorkingDirectory&) = delete;
  ScopedWorkingDirectory& operator=(const ScopedWorkingDirectory&) = delete;

 private:
  std::filesystem::path former;
};

#endif  // ZIN_TEST_PROCESS_SETTINGS_H
