#include "OwnRemovals.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <set>

namespace {

std::mutex guard;

std::set<FileIdentity>& Removed() {
  // Never destroyed: the logger's threads outlive the objects of this program.
  static auto* const removed = new std::set<FileIdentity>;
  return *removed;
}

void Note(const FileIdentity& file) {
  const std::lock_guard<std::mutex> lock(guard);
  Removed().insert(file);
}

}  // namespace

bool OwnRemovals::Contain(const FileIdentity& file) {
  const std::lock_guard<std::mutex> lock(guard);
  return Removed().contains(file);
}

void OwnRemovals::Forget(const FileIdentity& file) {
  const std::lock_guard<std::mutex> lock(guard);
  Removed().erase(file);
}

// In the place of the C library's, for this program and the libraries it uses.
// The logger removes nothing but files.
extern "C" [[gnu::visibility("default")]] int remove(const char* path) noexcept {
  struct stat status {};
  if (lstat(path, &status) != 0) return -1;
  const FileIdentity file(status);
  Note(file);  // first, so that nobody finds it gone and not noted
  if (unlink(path) == 0) return 0;
  const int error = errno;
  OwnRemovals::Forget(file);
  errno = error;
  return -1;
}
