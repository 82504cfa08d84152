#include "OutputFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <utility>

#include "Newlines.h"

namespace {

constexpr std::size_t readSize = std::size_t{128} << 10;

Descriptor OpenForReading(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
}

// False: another process holds the lock. It goes away with the descriptor.
bool Lock(const Descriptor& file) {
  return flock(file.Number(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

std::vector<FileIdentity> FilesIn(const std::string& directory) {
  std::vector<FileIdentity> files;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory.c_str()), closedir);
  if (entries == nullptr) return files;
  while (const dirent* const entry = readdir(entries.get())) {
    struct stat status {};
    if (fstatat(dirfd(entries.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
      files.emplace_back(status);
    }
  }
  return files;
}

}  // namespace

OutputFiles::OutputFiles(std::string dir, const std::string& fileName, int keepFiles,
                         LineMark lineMark)
    : directory(std::move(dir)),
      path(directory + "/" + fileName),
      // The kept ones, the one being written, and one more for the moment
      // between a rotation and the removal that follows it.
      mostKnown(static_cast<std::size_t>(keepFiles) + 2),
      mark(std::move(lineMark)),
      buffer(readSize) {
  Descriptor leftover = OpenForReading(path);
  struct stat status {};
  if (!leftover.IsOpen() || fstat(leftover.Number(), &status) != 0) return;
  if (!Lock(leftover)) {
    throw std::runtime_error("another zinpipe writes to '" + path + "'");
  }
  // Held open, so that its number cannot become that of a new file.
  current = std::move(leftover);
  currentIdentity = FileIdentity(status);
}

bool OutputFiles::Look() {
  // Somebody may have tried the lock just when it was to be taken.
  if (!isLocked) isLocked = Lock(current);
  bool foundSome = ReadCurrent();
  // The logger closes a file before it puts another in its place, so what is
  // read after the other was seen is the rest.
  while (FindNext()) foundSome = ReadCurrent() || foundSome;
  return foundSome;
}

// Moves on to the file that stands in the place of the current one.
bool OutputFiles::FindNext() {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return false;
  if (current.IsOpen() && FileIdentity(status) == currentIdentity) return false;
  (void)ReadCurrent();

  Descriptor next = OpenForReading(path);
  if (!next.IsOpen() || fstat(next.Number(), &status) != 0) return false;
  isLocked = Lock(next);
  current = std::move(next);
  currentIdentity = FileIdentity(status);
  currentIsOurs = true;
  position = 0;
  unfinishedLine.clear();
  // A deleted file's number may have come back.
  for (KnownFile& file : known) {
    if (file.identity != currentIdentity) continue;
    linesForgotten += file.lines;
    file = {};
  }
  known.push_back({currentIdentity, 0});
  if (known.size() > mostKnown) {
    linesForgotten += known.front().lines;
    known.pop_front();
  }
  return true;
}

bool OutputFiles::ReadCurrent() {
  if (!currentIsOurs) return false;
  bool readSome = false;
  for (;;) {
    const ssize_t got = pread(current.Number(), buffer.data(), buffer.size(), position);
    if (got <= 0) return readSome;
    readSome = true;
    position += got;
    const std::uint64_t lines = CountLines({buffer.data(), static_cast<std::size_t>(got)});
    known.back().lines += lines;
    linesFound += lines;
    if (static_cast<std::size_t>(got) < buffer.size()) return readSome;
  }
}

std::uint64_t OutputFiles::CountLines(std::string_view bytes) {
  if (mark.mark.empty()) return CountNewlines(bytes);
  unfinishedLine += bytes;
  std::uint64_t lines = 0;
  std::size_t begin = 0;
  for (std::size_t newline = unfinishedLine.find('\n'); newline != std::string::npos;
       newline = unfinishedLine.find('\n', begin)) {
    const std::string_view line(unfinishedLine.data() + begin, newline - begin);
    if (line.size() >= mark.offset && line.substr(mark.offset).starts_with(mark.mark)) ++lines;
    begin = newline + 1;
  }
  unfinishedLine.erase(0, begin);
  return lines;
}

std::uint64_t OutputFiles::LinesRemoved() const {
  const std::vector<FileIdentity> present = FilesIn(directory);
  std::uint64_t lines = linesForgotten;
  for (const KnownFile& file : known) {
    if (std::find(present.begin(), present.end(), file.identity) == present.end()) {
      lines += file.lines;
    }
  }
  return lines;
}
