#include "OutputFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>

#include "LiveFile.h"
#include "OwnRemovals.h"

namespace {

constexpr std::size_t readSize = std::size_t{128} << 10;
constexpr std::size_t mostFilesHeldOpen = 100;
constexpr std::chrono::milliseconds betweenLooksAtFinished{100};

Descriptor OpenForReading(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
}

// For file systems that lock files, but no directories. False: another process
// holds the lock. It goes away with the descriptor.
bool Lock(const Descriptor& file) {
  return flock(file.Number(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

// Of the finished ones: most of the descriptors are left to others.
std::size_t MostFilesToWatch(int keepFiles) {
  rlimit limit{};
  const bool isKnown = getrlimit(RLIMIT_NOFILE, &limit) == 0;
  const auto share = isKnown ? static_cast<std::size_t>(limit.rlim_cur / 4) : std::size_t{1};
  // One more for the moment between a rotation and the removal that follows.
  return std::min({static_cast<std::size_t>(keepFiles) + 1, share, mostFilesHeldOpen});
}

std::set<FileIdentity> FilesIn(const std::string& directory) {
  std::set<FileIdentity> files;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory.c_str()), closedir);
  if (entries == nullptr) return files;
  while (const dirent* const entry = readdir(entries.get())) {
    struct stat status {};
    if (fstatat(dirfd(entries.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
      files.emplace(status);
    }
  }
  return files;
}

}  // namespace

OutputFiles::OutputFiles(std::string dir, const std::string& fileName, int keepFiles,
                         LineMark lineMark)
    : directory(std::move(dir)),
      path(directory + "/" + fileName),
      mostWatched(MostFilesToWatch(keepFiles)),
      mark(std::move(lineMark)),
      leftover(OpenForReading(path)),
      buffer(readSize) {
  struct stat status {};
  if (leftover.IsOpen() && fstat(leftover.Number(), &status) == 0) {
    leftoverIdentity = FileIdentity(status);
    if (!Lock(leftover)) throw std::runtime_error("another zinpipe writes to '" + path + "'");
  }
}

void OutputFiles::Look() {
  if (!files.empty()) LookAt(files.back());
  // The logger closes a file before it puts another in its place, so what is
  // read after the other was seen is the rest.
  while (FindNext()) LookAt(files.back());
  const auto now = Clock::now();
  if (now - lastLookAtFinished < betweenLooksAtFinished) return;
  lastLookAtFinished = now;
  LookAtFinished();
}

void OutputFiles::LookAt(CountedFile& file) {
  const CountedFile::Change change = file.Look(buffer);
  linesFound += change.found;
  const bool isLive = &file == &files.back();
  if (change.lost > 0) {
    linesLost += change.lost;
    liveWasCut = liveWasCut || isLive;
    NoteLoss(Loss::Kind::Emptied, file, change.lost);
  }
  if (file.HasName() || file.Lines() == 0) return;
  // What is written to a file after its name was gone, nobody will find.
  if (OwnRemovals::Contain(file.Identity()) && !(isLive && liveIsTold)) {
    linesRemoved += file.Lines();
  } else {
    linesLost += file.Lines();
    if (!(isLive && liveIsTold)) NoteLoss(Loss::Kind::Removed, file, file.Lines());
  }
  if (isLive) liveIsTold = true;
  file.ForgetLines();
}

void OutputFiles::LookAtFinished() {
  if (files.empty()) return;
  for (std::size_t i = 0; i + 1 < files.size(); ++i) LookAt(files[i]);
  // Held open no longer than needed: the disk gets its room back.
  for (std::size_t i = files.size() - 1; i-- > 0;) {
    if (files[i].HasName()) continue;
    OwnRemovals::Forget(files[i].Identity());
    files.erase(files.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

// Moves on to the file that stands in the place of the current one.
bool OutputFiles::FindNext() {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return false;
  const FileIdentity found(status);
  if (files.empty() && leftover.IsOpen() && found == leftoverIdentity) return false;
  anotherInItsPlace = false;
  if (!files.empty()) {
    if (found == files.back().Identity()) return false;
    anotherInItsPlace = WriterOf(files.back().Identity()) >= 0;
    if (anotherInItsPlace) return false;
    LookAt(files.back());
  }
  Descriptor next = OpenForReading(path);
  if (!next.IsOpen() || fstat(next.Number(), &status) != 0) return false;
  Adopt(std::move(next), FileIdentity(status));
  return true;
}

void OutputFiles::Adopt(Descriptor next, const FileIdentity& identity) {
  // The number of a deleted file may have come back.
  for (auto file = unwatched.begin(); file != unwatched.end();) {
    if (file->identity == identity) {
      Resolve(identity, file->lines);
      file = unwatched.erase(file);
    } else {
      ++file;
    }
  }
  OwnRemovals::Forget(identity);
  leftover = Descriptor();
  (void)Lock(next);
  liveIsTold = false;
  files.emplace_back(std::move(next), identity, mark);
  while (files.size() > mostWatched + 1) StopWatchingOldest();
}

void OutputFiles::StopWatchingOldest() {
  CountedFile& oldest = files.front();
  LookAt(oldest);
  if (oldest.HasName()) {
    unwatched.push_back({oldest.Identity(), oldest.Lines()});
  } else {
    OwnRemovals::Forget(oldest.Identity());
  }
  files.pop_front();
}

void OutputFiles::LookAtAll() {
  Look();
  LookAtFinished();
  if (unwatched.empty()) return;
  const std::set<FileIdentity> present = FilesIn(directory);
  std::erase_if(unwatched, [&](const UnwatchedFile& file) {
    if (present.contains(file.identity)) return false;
    Resolve(file.identity, file.lines);
    return true;
  });
}

// A file that was not watched is gone.
void OutputFiles::Resolve(const FileIdentity& gone, std::uint64_t lines) {
  if (OwnRemovals::Contain(gone)) {
    linesRemoved += lines;
  } else {
    linesLost += lines;
    losses.push_back({Loss::Kind::Removed, "a finished file of " + path, lines});
  }
}

void OutputFiles::NoteLoss(Loss::Kind kind, const CountedFile& file, std::uint64_t lines) {
  const std::string known = file.Path();
  losses.push_back({kind, known.empty() ? path : known, lines});
}

std::vector<Loss> OutputFiles::TakeLosses() {
  return std::exchange(losses, {});
}

bool OutputFiles::LiveIsAstray() const {
  return !files.empty() && (!files.back().HasName() || anotherInItsPlace);
}
