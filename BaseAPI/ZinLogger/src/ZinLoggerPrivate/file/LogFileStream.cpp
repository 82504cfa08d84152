#include "LogFileStream.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <mutex>

#include "CoarseClock.h"
#include "FileModes.h"
#include "Probes.h"
#include "ZinForkMutex.h"

// Else an earlier file of 2 GiB could not be opened, and none would grow beyond.
static_assert(sizeof(off_t) == 8);

namespace {

// Occupies those of the descriptors 0, 1 and 2 that the process has closed,
// so that an open cannot get them, not even for a moment in which another
// thread writes to standard error. The placeholder can be neither read nor
// written, and needs no path: a chroot may have no /dev/null.
class StandardDescriptorGuard {
 public:
  StandardDescriptorGuard() {
    for (int& placeholder : placeholders) {
      const int descriptor = epoll_create1(EPOLL_CLOEXEC);
      if (descriptor > STDERR_FILENO) {
        (void)close(descriptor);
        break;
      }
      placeholder = descriptor;
    }
  }
  ~StandardDescriptorGuard() {
    for (const int placeholder : placeholders) {
      if (placeholder >= 0) (void)close(placeholder);
    }
  }
  StandardDescriptorGuard(const StandardDescriptorGuard&) = delete;
  StandardDescriptorGuard& operator=(const StandardDescriptorGuard&) = delete;

 private:
  std::array<int, STDERR_FILENO + 1> placeholders{-1, -1, -1};
};

constexpr std::int64_t millisecondsBetweenLooks = 10;

// All that are open, of all workers.
constinit ZinForkMutex openStreamsMutex;
constinit LogFileStream* openStreams = nullptr;  // guarded by openStreamsMutex

}  // namespace

std::unique_ptr<LogFileStream> LogFileStream::Open(const std::string& path, Existing existing) {
  const int treatment = existing == Existing::Empty ? O_TRUNC : O_EXCL;
  int descriptor = -1;
  int error = 0;
  {
    const StandardDescriptorGuard guard;
    descriptor =
        open(path.c_str(), O_WRONLY | O_CREAT | treatment | O_CLOEXEC | O_NOCTTY, logFileMode);
    error = errno;
  }
  if (descriptor >= 0 && descriptor <= STDERR_FILENO) {
    // There was no placeholder to be had, or another thread has closed a
    // standard stream just now.
    const int low = descriptor;
    descriptor = fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    error = errno;
    (void)close(low);
  }
  errno = error;
  if (descriptor < 0) return nullptr;
  return std::unique_ptr<LogFileStream>(new LogFileStream(descriptor));
}

LogFileStream::LogFileStream(int openDescriptor)
    : descriptor(openDescriptor), lookedAt(CoarseMilliseconds()) {
  struct stat status {};
  if (fstat(descriptor, &status) == 0) {
    file = {status.st_dev, status.st_ino};
    isRegularFile = S_ISREG(status.st_mode);
  }

  const std::lock_guard lock(openStreamsMutex);
  nextOpen = openStreams;
  if (nextOpen != nullptr) nextOpen->previousOpen = this;
  openStreams = this;
}

LogFileStream::~LogFileStream() {
  {
    const std::lock_guard lock(openStreamsMutex);
    (previousOpen == nullptr ? openStreams : previousOpen->nextOpen) = nextOpen;
    if (nextOpen != nullptr) nextOpen->previousOpen = previousOpen;
  }
  if (!IsLost()) (void)close(descriptor);
}

void LogFileStream::LockForFork() {
  openStreamsMutex.LockForFork();
}

void LogFileStream::UnlockInParent() {
  openStreamsMutex.UnlockAfterFork();
}

void LogFileStream::CloseAllInChild() {
  for (LogFileStream* stream = openStreams; stream != nullptr; stream = stream->nextOpen) {
    if (!stream->IsLost()) (void)close(stream->descriptor);
    stream->descriptor = -1;
  }
  openStreamsMutex.UnlockAfterFork();
}

std::size_t LogFileStream::Write(std::string_view text) noexcept {
  const char* next = text.data();
  std::size_t left = text.size();
  while (left > 0) {
    // write() is a point of cancellation, which costs some forty nanoseconds;
    // nobody cancels a thread of the library.
    const ssize_t written = syscall(SYS_write, descriptor, next, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      if (written == 0) errno = 0;
      break;
    }
    next += written;
    left -= static_cast<std::size_t>(written);
  }
  return left;
}

void LogFileStream::TraceLoss(std::size_t bytes, int error) const noexcept {
  probes::WriteFail(descriptor, bytes, error);
}

bool LogFileStream::IsLost() const noexcept {
  struct stat status {};
  // A file that cannot be examined, on a server that is gone, say, is still ours.
  if (fstat(descriptor, &status) != 0) return errno == EBADF;
  return file && (status.st_dev != file->device || status.st_ino != file->number);
}

bool LogFileStream::IsFoundLost() noexcept {
  const std::int64_t now = CoarseMilliseconds();
  if (now - lookedAt < millisecondsBetweenLooks) return false;
  lookedAt = now;
  return IsLost();
}

bool IsReadable(const std::string& path) {
  int descriptor = -1;
  int error = 0;
  {
    const StandardDescriptorGuard guard;
    descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    error = errno;
    if (descriptor >= 0) (void)close(descriptor);
  }
  errno = error;
  return descriptor >= 0;
}
