// Keeps log directories within limits by deleting the oldest files.
//
// Nothing here reports a failure: a directory that cannot be read is empty, a
// file that vanished has no size, a file that cannot be removed stays.
#ifndef ZIN_RETENTION_H
#define ZIN_RETENTION_H

#include <cstdint>
#include <string>
#include <vector>

inline constexpr unsigned bytesPerMiBShift = 20;
inline constexpr std::uint64_t bytesPerMiB = std::uint64_t{1} << bytesPerMiBShift;

// Limits of one channel's directory. Plain fields, see PlainField.h: a pass
// may see one old and one new value; the next pass corrects it.
struct RetentionLimits {
  std::uint32_t maxFileCount;     // log files at which trimming starts
  std::uint32_t maxTotalSizeMiB;  // MiB in all at which trimming starts
};

// Lists the log files directly in `directory` and trims them when their number
// or total size has reached the limits. Runs on the retention thread.
void RunRetentionPass(const std::string& directory, const RetentionLimits& limits);

// Deletes the oldest of `files` until the directory is below its limits.
//
// totalBytes and maxBytes are bytes; fileCount is the number listed, which may
// exceed the files that still exist. Above maxBytes, deletion goes on until
// the excess plus 1 MiB is freed; above maxCount, until maxCount - 1 files
// remain. The newest file always survives. Failed removals count as done.
// Files of the same modification second go in no promised order, except that
// a live file goes after those that were rotated.
void TrimDirToLimits(const std::vector<std::string>& files, std::uint64_t fileCount,
                     std::uint64_t maxCount, std::uint64_t totalBytes, std::uint64_t maxBytes);

// Removes one file that a limit makes superfluous, and tells a tracer. One that
// cannot be removed counts as removed.
void RemoveOldFile(const std::string& path);

#endif  // ZIN_RETENTION_H
