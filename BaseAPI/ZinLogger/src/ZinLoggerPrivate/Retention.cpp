#include "Retention.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "LogFileWriter.h"
#include "PlainField.h"
#include "Probes.h"
#include "ZinDir.h"

namespace {

struct DatedFile {
  std::uint64_t modifyTime;  // seconds since the epoch
  std::string path;
};

// Oldest first. Files that vanished or cannot be examined are left out.
std::vector<DatedFile> SortByAge(const std::vector<std::string>& files) {
  std::vector<DatedFile> dated;
  dated.reserve(files.size());
  for (const std::string& path : files) {
    const std::uint64_t modifyTime = ZinGetFileModifyTime(path);
    // Deliberate: a file dated at the epoch looks like one that vanished.
    if (modifyTime != 0) dated.push_back({modifyTime, path});
  }
  // Deliberate: by time alone; files of the same second go in any order.
  std::sort(dated.begin(), dated.end(), [](const DatedFile& left, const DatedFile& right) {
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

// A file that cannot be removed counts as removed.
void Remove(const std::string& path) {
  const int error = std::remove(path.c_str()) == 0 ? 0 : errno;
  probes::RetentionRemove(path, error);
}

}  // namespace

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
  for (std::size_t i = 0; i < count; ++i) Remove(oldestFirst[i].path);
}

void RemoveExcessRotatedFiles(const LogFileWriter& writer, const std::string& streamKey) {
  const std::string directory = writer.DirectoryOf(streamKey);
  const std::vector<std::string> oldestFirst = ZinListRotatedFiles(writer.fileName, directory);

  // Deliberate: 32-bit arithmetic, so a keep count far below zero wraps around
  // and keeps all.
  const auto excess = static_cast<std::int32_t>(static_cast<std::uint32_t>(oldestFirst.size()) -
                                                static_cast<std::uint32_t>(writer.keepCount));
  if (excess <= 0) return;
  const std::size_t count = std::min(oldestFirst.size(), static_cast<std::size_t>(excess));
  for (std::size_t i = 0; i < count; ++i) Remove(directory + "/" + oldestFirst[i]);
}
