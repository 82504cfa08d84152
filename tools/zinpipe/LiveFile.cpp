#include "LiveFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "Descriptor.h"

namespace {

constexpr std::string_view logSuffix = ".log";
constexpr int sequenceCount = 1000;
// Descriptors are given out from below; this program has few.
constexpr int mostDescriptors = 4096;

[[noreturn]] void Fail(const std::string& what, int error) {
  throw std::runtime_error(what + ": " + std::strerror(error));
}

// "20260105090307042": local time, to the millisecond.
std::string Milliseconds() {
  timeval now{};
  (void)gettimeofday(&now, nullptr);
  std::tm local{};
  (void)localtime_r(&now.tv_sec, &local);
  std::array<char, 16> seconds{};
  (void)std::strftime(seconds.data(), seconds.size(), "%Y%m%d%H%M%S", &local);
  const std::string thousandths = std::to_string(1000 + now.tv_usec / 1000);
  return seconds.data() + thousandths.substr(1);
}

// A file that bears the name already is not touched.
bool RenameWithoutReplacing(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  const int error = errno;
  if (error == EEXIST || error == EACCES || error == EROFS) return false;
  // The file system or a filter may not know that promise: look first, then rename.
  struct stat status {};
  if (lstat(to.c_str(), &status) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
}

void RenameFinished(const std::string& path) {
  const std::string_view stem(path.data(), path.size() - logSuffix.size());
  for (int sequence = 0; sequence < sequenceCount; ++sequence) {
    std::string name(stem);
    name.append("_").append(Milliseconds()).append("-");
    name.append(std::to_string(sequenceCount + sequence), 1);
    name.append("-").append(std::to_string(getpid())).append(logSuffix);
    if (RenameWithoutReplacing(path, name)) return;
    if (errno != EEXIST) break;
  }
  Fail("cannot rename '" + path + "'", errno);
}

// Puts something that cannot be written to under the number, which is not to be given
// to another file while the logger may still try it: it finds out with its next
// line. What the last call has left there is of no use any more.
//
// Not by the C library's functions: the descriptor is that of the logger's thread,
// and a sanitizer does not see that this one waits until that one is idle.
void TakeAway(int descriptor) {
  static int takenAway = -1;
  if (takenAway >= 0) (void)syscall(SYS_close, takenAway);
  takenAway = -1;
  const Descriptor nothing(epoll_create1(EPOLL_CLOEXEC));
  if (!nothing.IsOpen()) return;
  if (syscall(SYS_dup3, nothing.Number(), descriptor, O_CLOEXEC) == descriptor) {
    takenAway = descriptor;
  }
}

}  // namespace

int WriterOf(const FileIdentity& file) {
  rlimit limit{};
  int end = mostDescriptors;
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < mostDescriptors) {
    end = static_cast<int>(limit.rlim_cur);
  }
  for (int number = STDERR_FILENO + 1; number < end; ++number) {
    const int flags = fcntl(number, F_GETFL);
    if (flags < 0 || (flags & O_ACCMODE) != O_WRONLY) continue;
    struct stat status {};
    // Not fstat: see TakeAway.
    if (fstatat(number, "", &status, AT_EMPTY_PATH) == 0 && FileIdentity(status) == file) {
      return number;
    }
  }
  return -1;
}

void BeginNewFile(const std::string& directory, const std::string& fileName,
                  const FileIdentity& current) {
  const int writer = WriterOf(current);
  if (writer < 0) return;  // the logger begins one by itself
  const std::string path = directory + "/" + fileName;
  struct stat there {};
  if (lstat(path.c_str(), &there) == 0) RenameFinished(path);
  TakeAway(writer);
}

void GoOnAtTheEnd(const FileIdentity& current) {
  const int writer = WriterOf(current);
  if (writer >= 0) (void)lseek(writer, 0, SEEK_END);
}

void RemoveExcessFiles(const std::string& directory, const std::string& fileName, int keepFiles) {
  const std::string prefix = fileName.substr(0, fileName.size() - logSuffix.size());
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory.c_str()), closedir);
  if (entries == nullptr) return;
  while (const dirent* const entry = readdir(entries.get())) {
    const std::string name = entry->d_name;
    if (name != fileName && name.starts_with(prefix) && name.size() > logSuffix.size() &&
        name.find(logSuffix) == name.size() - logSuffix.size()) {
      names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  const auto kept = static_cast<std::size_t>(keepFiles);
  for (std::size_t i = 0; i + kept < names.size(); ++i) {
    (void)std::remove((directory + "/" + names[i]).c_str());
  }
}
