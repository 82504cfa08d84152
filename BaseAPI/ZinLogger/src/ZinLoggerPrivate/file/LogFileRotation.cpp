#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <vector>

#include "FileModes.h"
#include "LineFormat.h"
#include "LogFileStream.h"
#include "LogFileWriter.h"
#include "Probes.h"
#include "Retention.h"
#include "ZinDir.h"

namespace {

constexpr std::string_view logSuffix = ".log";
constexpr std::uint32_t sequenceCount = 1000;
constexpr std::size_t stampSize = 32;

// Seventeen digits of time, a hyphen, three of sequence, a hyphen, and a
// process id of up to nine.
static_assert(17 + 1 + 3 + 1 + 9 <= stampSize - 1);

// Deliberate: a path without the suffix has an empty stem, so its file moves
// into the working directory of the process.
std::string StemOf(const std::string& path) {
  if (path.size() <= logSuffix.size() || !path.ends_with(logSuffix)) return {};
  return path.substr(0, path.size() - logSuffix.size());
}

std::uint32_t TakeSequence(std::uint32_t& next) {
  const std::uint32_t taken = next;
  next = next + 1 == sequenceCount ? 0 : next + 1;
  return taken;
}

// Whether an errno tells of the names or of the disk. Anything else may mean
// just that this call is not to be had: a kernel or file system that does not
// know it, or one that a filter, a module or a user's file system forbids.
bool LiesInTheFile(int error) {
  return error == EEXIST || error == ENOENT || error == ENAMETOOLONG || error == EROFS;
}

// Takes the name with an empty file, which a rename may then replace: nobody who
// respects a name that is taken can get it in between. False when it cannot.
bool Reserve(const std::string& name) {
  return LogFileStream::Open(name, LogFileStream::Existing::Refuse) != nullptr;
}

// Fails with EEXIST, and touches nothing, when `to` exists.
bool RenameWithoutReplacing(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (LiesInTheFile(errno)) return false;
  if (Reserve(to)) {
    if (std::rename(from.c_str(), to.c_str()) == 0) return true;
    const int error = errno;
    (void)unlink(to.c_str());
    errno = error;
    // A directory in the place of the log file replaces no file.
    if (error != ENOTDIR) return false;
  }
  if (errno == EEXIST) return false;
  // No room for a file, for one: look first, then rename.
  struct stat status {};
  if (lstat(to.c_str(), &status) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

bool LogFileWriter::RotateFile(const std::string& path) {
  const std::string stem = StemOf(path);
  std::string rotatedName;
  int error = 0;
  // Names are taken when the process restarted within a millisecond, or wrote
  // more than 1000 files in one; a full round of sequences is all there is.
  for (std::uint32_t attempt = 0; attempt < sequenceCount; ++attempt) {
    std::array<char, stampSize> stamp{};
    const std::uint32_t sequence = TakeSequence(rotationSequence);
    (void)FormatFileStamp(stamp.data(), stamp.size(), stamp.size() - 1,
                          static_cast<std::int32_t>(sequence));
    rotatedName = stem + "_" + stamp.data() + std::string(logSuffix);
    if (RenameWithoutReplacing(path, rotatedName)) {
      probes::Rotate(path, rotatedName);
      return true;
    }
    error = errno;
    if (error != EEXIST) break;
  }
  probes::RenameFail(path, rotatedName, error);
  // Deliberate: only after a failed rename, and on the new name. The file stays
  // where it is, and the open that follows empties it. A name too long for the
  // stamp ends here with every rotation.
  (void)chmod(rotatedName.c_str(), unrenamedFileMode);
  return error == ENOENT;
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
  for (std::size_t i = 0; i < count; ++i) RemoveOldFile(directory + "/" + oldestFirst[i]);
}
