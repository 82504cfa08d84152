#include "ScratchDir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Text.h"

namespace fs = std::filesystem;

namespace {

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << "no such file: " << path;
  return status;
}

}  // namespace

ScratchDir::ScratchDir() {
  const char* const base = std::getenv("TMPDIR");
  path = std::string(base == nullptr ? "/tmp" : base) + "/zin-log-test-XXXXXX";
  if (mkdtemp(path.data()) == nullptr || chmod(path.c_str(), 0755) != 0) {
    ADD_FAILURE() << "cannot make a scratch directory like " << path;
  }
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;  // a worker may still be closing its files
  fs::remove_all(path, ignored);
}

std::vector<std::string> ScratchDir::AddLogs(const std::vector<LogFile>& files) const {
  std::vector<std::string> paths;
  for (const LogFile& file : files) {
    const std::string full = *this / file.name;
    Write(file.name, "");
    EXPECT_EQ(truncate(full.c_str(), static_cast<off_t>(file.size)), 0) << full;
    const timespec times[2] = {{file.modifyTime, 0}, {file.modifyTime, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, full.c_str(), times, 0), 0) << full;
    paths.push_back(full);
  }
  return paths;
}

void ScratchDir::Write(const std::string& name, const std::string& text) const {
  std::ofstream file(*this / name, std::ios::binary);
  file << text;
  EXPECT_TRUE(file.good()) << "cannot write " << name;
}

std::string ScratchDir::Read(const std::string& name) const {
  std::ifstream file(*this / name, std::ios::binary);
  EXPECT_TRUE(file.good()) << "cannot read " << name;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::vector<std::string> ScratchDir::LinesOf(const std::string& name) const {
  return SplitLines(Read(name));
}

bool ScratchDir::Has(const std::string& name) const {
  struct stat status {};
  return lstat((*this / name).c_str(), &status) == 0;
}

std::vector<std::string> ScratchDir::Names(const std::string& subDirectory) const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(*this / subDirectory)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::uint64_t ScratchDir::SizeOf(const std::string& name) const {
  return static_cast<std::uint64_t>(StatusOf(*this / name).st_size);
}
mode_t ScratchDir::ModeOf(const std::string& name) const {
  return StatusOf(*this / name).st_mode & 07777;
}
uid_t ScratchDir::OwnerOf(const std::string& name) const {
  return StatusOf(*this / name).st_uid;
}
gid_t ScratchDir::GroupOf(const std::string& name) const {
  return StatusOf(*this / name).st_gid;
}
