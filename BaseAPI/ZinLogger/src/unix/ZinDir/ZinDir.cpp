#include "ZinDir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "DirectoryEntries.h"

// A file that is larger, or dated later, than the type can hold cannot be examined.
static_assert(sizeof(off_t) == 8);
#if defined(__GLIBC__) && __GLIBC__ * 100 + __GLIBC_MINOR__ >= 234
static_assert(sizeof(time_t) == 8);  // not to be had everywhere before
#endif

namespace {

constexpr std::string_view logSuffix = ".log";
constexpr std::size_t longestPath = 4096;
using ResolvedPath = std::array<char, longestPath + 1>;

std::optional<struct stat> Examine(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

bool IsRotatedSibling(const std::string& name, const std::string& baseFileName,
                      const std::string& prefix) {
  // Deliberate: the prefix is not anchored on a separator, so application.log
  // counts as a sibling of app.log.
  return name.size() > logSuffix.size() && name != baseFileName &&
         name.find(logSuffix) == name.size() - logSuffix.size() && name.find(prefix) == 0;
}

}  // namespace

bool ZinRemoveDir(const std::string& path) {
  return rmdir(path.c_str()) == 0;
}

int ZinRemoveFile(const std::string& path) {
  return std::remove(path.c_str());
}

void ZinRemoveDirRecursive(const std::string& path) {
  DirectoryEntries entries(path.c_str());
  if (!entries.IsOpen()) return;
  while (const char* const name = entries.Next()) {
    const std::string child = path + "/" + name;
    const auto status = Examine(child);
    if (!status) continue;
    if (S_ISDIR(status->st_mode)) {
      ZinRemoveDirRecursive(child);
    } else {
      (void)unlink(child.c_str());
    }
  }
  // Deliberate: while the directory is still open.
  (void)rmdir(path.c_str());
}

std::uint64_t ZinGetFileSize(const std::string& path) {
  const auto status = Examine(path);
  return status ? static_cast<std::uint64_t>(status->st_size) : 0;
}

std::uint64_t ZinGetFileModifyTime(const std::string& path) {
  const auto status = Examine(path);
  return status ? static_cast<std::uint64_t>(status->st_mtim.tv_sec) : 0;
}

std::vector<std::string> ZinListLogFiles(const std::string& directory) {
  std::uint64_t ignored = 0;
  return ZinListLogFiles(directory, ignored);
}

std::vector<std::string> ZinListLogFiles(const std::string& directory, std::uint64_t& totalBytes) {
  totalBytes = 0;
  std::vector<std::string> files;
  DirectoryEntries entries(directory.c_str());
  if (!entries.IsOpen()) return files;
  while (const char* const entry = entries.Next()) {
    const std::string_view name = entry;
    const std::string path = directory + "/" + entry;
    const auto status = Examine(path);
    if (!status || S_ISDIR(status->st_mode)) continue;
    // Deliberate: for a name of three bytes the difference wraps around to the
    // value that a failed search returns, so such a file is listed, too.
    if (name.rfind(logSuffix) != name.size() - logSuffix.size()) continue;
    files.push_back(path);
    totalBytes += static_cast<std::uint64_t>(status->st_size);
  }
  return files;
}

std::vector<std::string> ZinListRotatedFiles(const std::string& baseFileName,
                                             const std::string& directory) {
  // For a base name shorter than the suffix the count wraps: all of it.
  const std::string prefix = baseFileName.substr(0, baseFileName.size() - logSuffix.size());
  std::vector<std::string> names;
  DirectoryEntries entries(directory.c_str());
  if (!entries.IsOpen()) return names;
  while (const char* const entry = entries.Next()) {
    std::string name = entry;
    if (IsRotatedSibling(name, baseFileName, prefix)) names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool ZinIsPathResolvable(const char* path, int length) {
  if (length > static_cast<int>(longestPath)) return false;
  ResolvedPath resolved{};
  return realpath(path, resolved.data()) != nullptr || errno == ENOENT;
}

bool ZinGetRealPath(const std::string& path, std::string& resolved) {
  ResolvedPath buffer{};
  if (realpath(path.c_str(), buffer.data()) != nullptr) {
    resolved = buffer.data();
    return true;
  }
  if (errno != ENOENT) return false;
  resolved = path;
  return true;
}
