#include "OutputDirectory.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>

#include "Descriptor.h"
#include "Options.h"

namespace {

constexpr mode_t directoryMode = 0750;  // as the logger's own

std::string Quoted(const std::string& text) {
  return "'" + text + "'";
}

// By the rights that an open would be judged by.
bool MayAccess(const std::string& path, int mode) {
  return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

// Returns the error of the last component; 0 also when all were there.
int MakeDirectories(const std::string& directory) {
  for (std::size_t i = 1; i < directory.size(); ++i) {
    if (directory[i] == '/') (void)mkdir(directory.substr(0, i).c_str(), directoryMode);
  }
  return mkdir(directory.c_str(), directoryMode) == 0 || errno == EEXIST ? 0 : errno;
}

[[noreturn]] void Fail(const std::string& what, int error) {
  throw std::runtime_error(what + ": " + std::strerror(error));
}

}  // namespace

void PrepareOutputDirectory(const std::string& directory, const std::string& fileName) {
  const int error = MakeDirectories(directory);
  struct stat status {};
  if (stat(directory.c_str(), &status) != 0) {
    Fail("cannot create the directory " + Quoted(directory), error == 0 ? errno : error);
  }
  if (!S_ISDIR(status.st_mode)) Fail("cannot write to " + Quoted(directory), ENOTDIR);
  if (!MayAccess(directory, W_OK | X_OK)) {
    Fail("cannot write to the directory " + Quoted(directory), errno);
  }

  const std::string path = directory + "/" + fileName;
  const long longestName = pathconf(directory.c_str(), _PC_NAME_MAX);
  const bool nameFits =
      longestName < 0 || fileName.size() + longestStamp <= static_cast<std::size_t>(longestName);
  if (!nameFits || path.size() + longestStamp >= PATH_MAX) {
    Fail("no finished file of " + Quoted(path) + " could have a name", ENAMETOOLONG);
  }
  if (stat(path.c_str(), &status) != 0) return;
  if (!S_ISREG(status.st_mode)) throw std::runtime_error(Quoted(path) + " is not a regular file");
  // The logger empties a file that it cannot read, instead of moving it aside.
  if (!MayAccess(path, R_OK))
    Fail("cannot read what an earlier run left in " + Quoted(path), errno);
}

std::string WhyNoNewFile(const std::string& directory) {
  struct stat status {};
  if (stat(directory.c_str(), &status) != 0) return std::strerror(errno);
  // A file without a name asks for all that one with a name does.
  const Descriptor trial(open(directory.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
  if (trial.IsOpen()) return {};
  const int error = errno;
  struct statvfs system {};
  if (error == ENOSPC && statvfs(directory.c_str(), &system) == 0 && system.f_favail == 0) {
    return std::string(std::strerror(error)) + " for one more file (no inodes)";
  }
  const bool isKnown = error != EOPNOTSUPP && error != EISDIR && error != EINVAL;
  if (isKnown) return std::strerror(error);
  return MayAccess(directory, W_OK | X_OK) ? "" : std::strerror(errno);
}

std::string WhyNothingIsWritten(const std::string& directory, const std::string& fileName) {
  const std::string path = directory + "/" + fileName;
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) return "it is not a regular file";
  if (exists && !MayAccess(path, W_OK)) return std::strerror(errno);
  rlimit limit{};
  if (exists && getrlimit(RLIMIT_FSIZE, &limit) == 0 &&
      static_cast<rlim_t>(status.st_size) >= limit.rlim_cur) {
    return std::string(std::strerror(EFBIG)) + " (ulimit -f)";
  }
  struct statvfs system {};
  const bool systemIsKnown = statvfs(directory.c_str(), &system) == 0;
  if (systemIsKnown && system.f_bavail == 0) return std::strerror(ENOSPC);
  const std::string reason = WhyNoNewFile(directory);
  return reason.empty() ? "reason unknown" : reason;
}
