#include "NameLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <thread>

namespace {

constexpr int mostNaps = 100;
constexpr std::chrono::milliseconds nap{10};

// The byte that stands for the name. Two names share one by a chance of one in
// 2^62.
off_t ByteOf(const std::string& name) {
  std::uint64_t hash = 14695981039346656037U;  // FNV-1a: the same in every build
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return static_cast<off_t>(hash >> 2U);
}

struct flock OneByte(const std::string& name, short type) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = ByteOf(name);
  range.l_len = 1;
  return range;
}

// Two that start together take turns, so that one of them gets the name. Who
// else locks the directory as a whole is not waited for any longer.
void WaitForTurn(const Descriptor& directory) {
  for (int i = 0; i < mostNaps && flock(directory.Number(), LOCK_EX | LOCK_NB) != 0; ++i) {
    std::this_thread::sleep_for(nap);
  }
}

}  // namespace

NameLock::NameLock(const std::string& directory, const std::string& fileName)
    : locked(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  const Descriptor turn(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  WaitForTurn(turn);
  // A directory cannot be opened for writing, so its bytes can be locked for
  // reading alone, which many may do at a time. Who has locked it asks whether
  // somebody else has, too.
  struct flock own = OneByte(fileName, F_RDLCK);
  if (fcntl(locked.Number(), F_OFD_SETLK, &own) != 0) return;
  struct flock other = OneByte(fileName, F_WRLCK);
  if (fcntl(locked.Number(), F_OFD_GETLK, &other) == 0 && other.l_type != F_UNLCK) {
    throw std::runtime_error("another zinpipe writes to '" + directory + "/" + fileName + "'");
  }
}
