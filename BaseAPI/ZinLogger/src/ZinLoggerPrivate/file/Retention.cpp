#include "Retention.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <utility>

#include "PlainField.h"
#include "Probes.h"
#include "ZinDir.h"

namespace {

struct DatedFile {
  std::uint64_t modifyTime;  // seconds since the epoch
  std::string path;
};

bool DropEnd(std::string_view& text, std::string_view end) {
  if (!text.ends_with(end)) return false;
  text.remove_suffix(end.size());
  return true;
}

std::size_t DropDigits(std::string_view& text) {
  const std::size_t size = text.size();
  while (!text.empty() && text.back() >= '0' && text.back() <= '9') text.remove_suffix(1);
  return size - text.size();
}

// Whether a name ends as rotated ones do: "_", time, sequence, process, ".log".
bool IsRotated(std::string_view name) {
  return DropEnd(name, ".log") && DropDigits(name) > 0 && DropEnd(name, "-") &&
         DropDigits(name) == 3 && DropEnd(name, "-") && DropDigits(name) == 17 &&
         DropEnd(name, "_");
}

// A live file is newer than any that was rotated away, and their names tell
// the time to the millisecond.
bool IsOlderByName(const std::string& left, const std::string& right) {
  const bool leftIsLive = !IsRotated(left);
  const bool rightIsLive = !IsRotated(right);
  return leftIsLive == rightIsLive ? left < right : rightIsLive;
}

// Oldest first. Files that vanished or cannot be examined are left out.
std::vector<DatedFile> SortByAge(const std::vector<std::string>& files) {
  std::vector<DatedFile> dated;
  dated.reserve(files.size());
  for (const std::string& path : files) {
    const std::uint64_t modifyTime = ZinGetFileModifyTime(path);
    // Deliberate: a file dated at the epoch looks like one that vanished.
    if (modifyTime != 0) dated.push_back({modifyTime, path});
  }
  // Deliberate: by time; within a second no order is promised. The names decide
  // there, or a live file could go before those that it has just replaced.
  std::sort(dated.begin(), dated.end(), [](const DatedFile& left, const DatedFile& right) {
    if (left.modifyTime == right.modifyTime) return IsOlderByName(left.path, right.path);
    return left.modifyTime < right.modifyTime;
  });
  return dated;
}

// How many of the oldest files hold at least `toFree` bytes together.
std::uint64_t CountToFree(const std::vector<DatedFile>& oldestFirst, std::uint64_t toFree) {
  std::uint64_t freed = 0;
  std::uint64_t count = 0;
  for (const DatedFile& file : oldestFirst) {
    freed += ZinGetFileSize(file.path);
    ++count;
    if (freed >= toFree) break;
  }
  return count;
}

}  // namespace

void RemoveOldFile(const std::string& path) {
  const int error = std::remove(path.c_str()) == 0 ? 0 : errno;
  probes::RetentionRemove(path, error);
}

void RunRetentionPass(const std::string& directory, const RetentionLimits& limits) {
  std::uint64_t totalBytes = 0;
  const std::vector<std::string> files = ZinListLogFiles(directory, totalBytes);

  const std::uint64_t maxCount = LoadPlain(limits.maxFileCount);
  const std::uint64_t maxBytes = std::uint64_t{LoadPlain(limits.maxTotalSizeMiB)}
                                 << bytesPerMiBShift;
  // Deliberate: reaching a limit starts a trim, only exceeding it deletes.
  if (totalBytes >= maxBytes || files.size() >= maxCount) {
    TrimDirToLimits(files, files.size(), maxCount, totalBytes, maxBytes);
  }
}

void TrimDirToLimits(const std::vector<std::string>& files, std::uint64_t fileCount,
                     std::uint64_t maxCount, std::uint64_t totalBytes, std::uint64_t maxBytes) {
  if (totalBytes <= maxBytes && fileCount <= maxCount) return;
  const std::vector<DatedFile> oldestFirst = SortByAge(files);
  if (oldestFirst.empty()) return;

  std::uint64_t excess = 0;
  if (totalBytes > maxBytes) {
    // Deliberate: a spare MiB is freed, which makes room for the next file.
    excess = CountToFree(oldestFirst, totalBytes - maxBytes + bytesPerMiB);
  }
  if (fileCount > maxCount) {
    // Deliberate: one more than the excess goes, which makes room for the next.
    excess = std::max(excess, fileCount - maxCount + 1);
  }
  const std::uint64_t deletable = oldestFirst.size() - 1;
  const auto count = static_cast<std::size_t>(std::min(excess, deletable));
  for (std::size_t i = 0; i < count; ++i) RemoveOldFile(oldestFirst[i].path);
}
