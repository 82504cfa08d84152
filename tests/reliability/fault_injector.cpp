// Loaded before the C library (LD_PRELOAD): stands before the system calls that
// the library makes, and lets one of them fail. See Faults.h.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "FaultPlan.h"
#include "Faults.h"
#include "SystemCallArguments.h"

// The counting itself uses calls that stand below (std::filesystem copies with
// open, stat and close), so no wrapper may act on what it does.
namespace {

thread_local bool isInside = false;

class Inside {
 public:
  Inside() : isOuter(!isInside) { isInside = true; }
  ~Inside() {
    if (isOuter) isInside = false;
  }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
  bool isOuter;
};

// The calls of whoever starts up the process, a sanitizer's runtime for one, come
// before there is memory to be had.
std::atomic<bool> isBegun{false};

FaultPlan& Plan() {
  return FaultPlan::Instance();
}

std::array<std::atomic<bool>, 4096> isSentinelDescriptor{};

bool IsSentinelDescriptor(int descriptor) {
  return descriptor >= 0 && static_cast<std::size_t>(descriptor) < isSentinelDescriptor.size() &&
         isSentinelDescriptor[static_cast<std::size_t>(descriptor)].load();
}

void NoteDescriptor(int descriptor, bool isSentinel) {
  if (descriptor >= 0 && static_cast<std::size_t>(descriptor) < isSentinelDescriptor.size()) {
    isSentinelDescriptor[static_cast<std::size_t>(descriptor)].store(isSentinel);
  }
}

// With 64-bit offsets and times, the compiler gives these calls, and the wrappers
// below, other names.
const char* LinkName(const char* name) {
#if __TIMESIZE == 32 && defined(__USE_TIME_BITS64)
  constexpr std::array<std::array<const char*, 2>, 5> others = {{{"open", "open64"},
                                                                 {"readdir", "readdir64"},
                                                                 {"fcntl", "__fcntl_time64"},
                                                                 {"stat", "__stat64_time64"},
                                                                 {"lstat", "__lstat64_time64"}}};
#else
  constexpr std::array<std::array<const char*, 2>, 5> others = {{{"open", "open64"},
                                                                 {"readdir", "readdir64"},
                                                                 {"fcntl", "fcntl64"},
                                                                 {"stat", "stat64"},
                                                                 {"lstat", "lstat64"}}};
#endif
  for (const auto& [plain, other] : others) {
    if (std::strcmp(name, plain) == 0) return other;
  }
  return name;
}

// The C library's function that a wrapper stands for. `known` has no constructor
// and no guard, which could not be passed before a sanitizer's runtime is set up.
template <typename Function>
Function Next(std::atomic<void*>& known, const char* name) {
  if (known.load() == nullptr) known = dlsym(RTLD_NEXT, LinkName(name));
  if (known.load() == nullptr) std::abort();
  return reinterpret_cast<Function>(known.load());
}

// Whether the call fails; errno is set then.
bool Fails(const char* call, const char* path) {
  if (!isBegun.load()) return false;
  const Inside inside;
  if (!inside.isOuter) return false;
  const auto error = Plan().Decide(call, path);
  if (!error) return false;
  errno = *error;
  return true;
}

void ExcuseEmptying() {
  Plan().emptyingExcused[Plan().Line()] = true;
}

// A file that is emptied loses lines; only a fault just before excuses that. A
// line of the library's own may be at work while the driver's number goes on.
void BeforeEmptying(const char* path) {
  const Inside inside;
  const int callersErrno = errno;
  struct stat status {};
  if (stat(path, &status) == 0 && status.st_size > 0 && Plan().isWatching && !IsSentinel(path)) {
    const unsigned line = Plan().Line();
    const bool isExcused =
        Plan().emptyingExcused[line] || Plan().emptyingExcused[line == 0 ? 0 : line - 1];
    if (!isExcused) ++Plan().unexcused;
    Plan().KeepCopy(path, "emptied");
  }
  errno = callersErrno;
}

}  // namespace

#define ZIN_NEXT(name)                                \
  static constinit std::atomic<void*> known{nullptr}; \
  const auto next = Next<decltype(&name)>(known, #name)

#define ZIN_PATH_CALL(name, type, failed, parameters, ...) \
  extern "C" type name parameters noexcept {               \
    ZIN_NEXT(name);                                        \
    if (Fails(#name, path)) return failed;                 \
    return next(__VA_ARGS__);                              \
  }

ZIN_PATH_CALL(chmod, int, -1, (const char* path, mode_t mode), path, mode)
ZIN_PATH_CALL(lchown, int, -1, (const char* path, uid_t user, gid_t group), path, user, group)
ZIN_PATH_CALL(rmdir, int, -1, (const char* path), path)
ZIN_PATH_CALL(stat, int, -1, (const char* path, struct stat* status), path, status)
ZIN_PATH_CALL(realpath, char*, nullptr, (const char* path, char* resolved), path, resolved)
ZIN_PATH_CALL(readlink, ssize_t, -1, (const char* path, char* target, std::size_t size), path,
              target, size)

// A start makes the directory of the metrics channel on the caller's thread.
extern "C" int mkdir(const char* path, mode_t mode) noexcept {
  // A sanitizer's runtime makes the folder of its reports before dlsym can be called.
  if (!isBegun.load()) return mkdirat(AT_FDCWD, path, mode);
  ZIN_NEXT(mkdir);
  return Fails(gettid() == getpid() ? "start_mkdir" : "mkdir", path) ? -1 : next(path, mode);
}

// A name that is looked up in vain stands in for one that exists, so a rename
// or a look that fails excuses the emptying that follows.
#define ZIN_RENAME_CALL(name, parameters, ...) \
  extern "C" int name parameters noexcept {    \
    ZIN_NEXT(name);                            \
    if (Fails(#name, path)) {                  \
      const int error = errno;                 \
      ExcuseEmptying();                        \
      errno = error;                           \
      return -1;                               \
    }                                          \
    return next(__VA_ARGS__);                  \
  }

ZIN_RENAME_CALL(rename, (const char* path, const char* to), path, to)
ZIN_RENAME_CALL(renameat2,
                (int fromFolder, const char* path, int toFolder, const char* to, unsigned flags),
                fromFolder, path, toFolder, to, flags)
ZIN_RENAME_CALL(lstat, (const char* path, struct stat* status), path, status)

#define ZIN_REMOVE_CALL(name)                                  \
  extern "C" int name(const char* path) noexcept {             \
    ZIN_NEXT(name);                                            \
    if (Fails(#name, path)) return -1;                         \
    {                                                          \
      const Inside inside;                                     \
      if (Plan().isWatching) Plan().KeepCopy(path, "removed"); \
    }                                                          \
    return next(path);                                         \
  }

ZIN_REMOVE_CALL(remove)
ZIN_REMOVE_CALL(unlink)

extern "C" int open(const char* path, int flags, ...) {
  ZIN_NEXT(open);
  mode_t mode = 0;
  if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
    std::va_list values;
    va_start(values, flags);
    mode = static_cast<mode_t>(va_arg(values, unsigned));
    va_end(values);
  }
  if (isInside) return next(path, flags, mode);
  const bool forWriting = (flags & O_ACCMODE) != O_RDONLY;
  int descriptor = -1;
  if (Fails("open", path)) {
    // Taken for unreadable, a file is not moved aside but emptied.
    if (!forWriting) ExcuseEmptying();
  } else {
    if ((flags & O_TRUNC) != 0) BeforeEmptying(path);
    descriptor = next(path, flags, mode);
  }
  // EEXIST says that a name is taken; the library then takes another way.
  if (descriptor < 0 && forWriting) Plan().openFailed[Plan().Line()] = true;
  NoteDescriptor(descriptor, IsSentinel(path));
  return descriptor;
}

extern "C" int fcntl(int descriptor, int command, ...) {
  ZIN_NEXT(fcntl);
  std::va_list values;
  va_start(values, command);
  void* const value = va_arg(values, void*);
  va_end(values);
  if (!IsSentinelDescriptor(descriptor) && Fails("fcntl", nullptr)) {
    Plan().openFailed[Plan().Line()] = true;
    return -1;
  }
  const int result = next(descriptor, command, value);
  if (command == F_DUPFD_CLOEXEC) NoteDescriptor(result, IsSentinelDescriptor(descriptor));
  return result;
}

// The library writes its files through this one.
extern "C" long syscall(long number, ...) noexcept {
  ZIN_NEXT(syscall);
  std::va_list list;
  va_start(list, number);
  const auto values = SystemCallArguments(list);
  va_end(list);
  if (number == SYS_write) {
    return write(static_cast<int>(values[0]), reinterpret_cast<const void*>(values[1]),
                 static_cast<std::size_t>(values[2]));
  }
  return next(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}

extern "C" ssize_t write(int descriptor, const void* data, std::size_t size) {
  ZIN_NEXT(write);
  if (isInside || descriptor <= STDERR_FILENO) return next(descriptor, data, size);
  if (IsSentinelDescriptor(descriptor)) {
    const ssize_t written = next(descriptor, data, size);
    ++Plan().sentinels;
    return written;
  }
  if (!Fails("write", nullptr)) return next(descriptor, data, size);
  if (errno == -1) return next(descriptor, data, (size + 1) / 2);
  if (errno != EINTR) Plan().writeFailed[Plan().Line()] = true;
  return errno == 0 ? 0 : -1;
}

extern "C" int close(int descriptor) {
  ZIN_NEXT(close);
  const bool fails = !IsSentinelDescriptor(descriptor) && Fails("close", nullptr);
  const int error = errno;
  NoteDescriptor(descriptor, false);
  // Linux gives the descriptor back whatever close says.
  const int result = next(descriptor);
  if (!fails) return result;
  errno = error;
  return -1;
}

extern "C" int epoll_create1(int flags) noexcept {
  ZIN_NEXT(epoll_create1);
  return Fails("epoll_create1", nullptr) ? -1 : next(flags);
}

extern "C" DIR* opendir(const char* path) {
  ZIN_NEXT(opendir);
  return Fails("opendir", path) ? nullptr : next(path);
}

extern "C" dirent* readdir(DIR* directory) {
  ZIN_NEXT(readdir);
  return Fails("readdir", nullptr) ? nullptr : next(directory);
}

extern "C" int closedir(DIR* directory) {
  ZIN_NEXT(closedir);
  const bool fails = Fails("closedir", nullptr);
  const int error = errno;
  const int result = next(directory);
  if (!fails) return result;
  errno = error;
  return -1;
}

// The service account, which the machine need not have, is the user's own.
extern "C" int getpwnam_r(const char* name, passwd* record, char* buffer, std::size_t size,
                          passwd** found) {
  ZIN_NEXT(getpwnam_r);
  *found = nullptr;
  if (Fails("getpwnam_r", nullptr)) return errno;
  if (std::getenv("ZIN_FAULT_ACCOUNT") == nullptr) {
    // What account services do inside is theirs: some end the process when a
    // close fails.
    const Inside inside;
    return next(name, record, buffer, size, found);
  }
  *record = passwd{};
  record->pw_uid = getuid();
  record->pw_gid = getgid();
  *found = record;
  return 0;
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) noexcept {
  ZIN_NEXT(pthread_create);
  if (Fails("pthread_create", nullptr)) return errno;
  return next(thread, attributes, body, argument);
}

// ---- Faults.h --------------------------------------------------------------

void FaultsBegin() {
  isBegun = true;
  Plan().isWatching = true;
  Plan().isActive = true;
}

void FaultsEnd() {
  Plan().isActive = false;
}

void FaultsAtLine(unsigned line) {
  Plan().line = line;
}

std::uint64_t FaultsSentinels() {
  return Plan().sentinels;
}

unsigned FaultsInjected() {
  return Plan().injected;
}

bool FaultsWriteFailedAt(unsigned line) {
  return Plan().writeFailed[line % FaultPlan::lineCount];
}

bool FaultsOpenFailedAt(unsigned line) {
  return Plan().openFailed[line % FaultPlan::lineCount];
}

bool FaultsExcuseEmptyingAt(unsigned line) {
  return Plan().emptyingExcused[line % FaultPlan::lineCount];
}

unsigned FaultsUnexcused() {
  return Plan().unexcused;
}

const char* FaultsCounts() {
  static const std::string& text = *new std::string(Plan().CountsJson());
  return text.c_str();
}
