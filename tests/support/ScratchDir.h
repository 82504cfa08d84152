#ifndef ZIN_TEST_SCRATCH_DIR_H
#define ZIN_TEST_SCRATCH_DIR_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

constexpr std::uint64_t MiB(std::uint64_t count) {
  return count * 1048576;
}

// A directory of the test's own, empty at first, mode 0755, removed with all it
// holds when the test ends. Its path contains "log" and does not contain
// "metrics", so that a log channel can be started on it.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& Path() const { return path; }
  std::string operator/(const std::string& name) const { return path + "/" + name; }

  struct LogFile {
    std::string name;
    std::int64_t modifyTime;  // seconds since the epoch
    std::uint64_t size = 0;   // bytes
  };
  // Creates the files, and returns their full paths in the order given.
  std::vector<std::string> AddLogs(const std::vector<LogFile>& files) const;

  void Write(const std::string& name, const std::string& text) const;
  std::string Read(const std::string& name) const;  // fails the test when it cannot
  std::vector<std::string> LinesOf(const std::string& name) const;
  bool Has(const std::string& name) const;  // without following a link

  // Names directly in the directory (or in a sub-directory), sorted.
  std::vector<std::string> Names(const std::string& subDirectory = "") const;

  std::uint64_t SizeOf(const std::string& name) const;  // bytes

  // The twelve permission bits, the owner and the group of a name.
  mode_t ModeOf(const std::string& name) const;
  uid_t OwnerOf(const std::string& name) const;
  gid_t GroupOf(const std::string& name) const;

 private:
  std::string path;
};

#endif  // ZIN_TEST_SCRATCH_DIR_H
