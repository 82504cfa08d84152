#include "FailingCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "CoarseClock.h"
#include "SystemCallArguments.h"
#include "WrappedNames.h"

namespace {

struct Fault {
  std::string name;
  int which;
  bool lasting;
  int error;
  std::optional<std::size_t> takenBytes;  // of a write that succeeds in part
  std::function<void()> action;           // before the call, which then passes
  int seen = 0;
};

struct Account {
  uid_t user;
  gid_t group;
};

struct Disk {
  std::size_t room = 0;  // bytes, before the writes that fail
  int failures = 0;      // 0: there is room for everything
};

struct State {
  std::mutex mutex;
  bool active = false;
  std::vector<std::string> record;
  std::vector<Fault> faults;
  bool fakesAccounts = false;
  std::optional<Account> account;
  std::optional<std::int64_t> milliseconds;  // of the coarse clock
  Disk disk;
  std::map<DIR*, std::string> openDirectories;
};

// Never destroyed: calls come in until the process has ended.
State& Shared() {
  static State& state = *new State;
  return state;
}

struct Verdict {
  int error = 0;
  std::optional<std::size_t> takenBytes;
};

// Notes a call and tells what is to become of it.
Verdict Judge(const std::string& name, const std::string& arguments) {
  State& state = Shared();
  Verdict verdict;
  std::function<void()> action;
  {
    const std::lock_guard<std::mutex> lock(state.mutex);
    if (!state.active) return verdict;
    state.record.push_back(arguments.empty() ? name : name + " " + arguments);
    for (Fault& fault : state.faults) {
      if (fault.name != name) continue;
      ++fault.seen;
      if (fault.seen == fault.which || (fault.lasting && fault.seen > fault.which)) {
        verdict = {fault.error, fault.takenBytes};
        action = fault.action;
      }
    }
  }
  if (action) action();
  return verdict;
}

void AskDisk(std::size_t size, Verdict& verdict) {
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  Disk& disk = Shared().disk;
  if (disk.failures == 0) return;
  if (disk.room == 0) {
    --disk.failures;
    verdict.error = ENOSPC;
  } else {
    verdict.takenBytes = std::min(size, disk.room);
    disk.room -= *verdict.takenBytes;
  }
}

// The errno with which the call is to fail, or 0.
int ErrorOf(const std::string& name, const std::string& arguments) {
  return Judge(name, arguments).error;
}

// The path of an open directory that is about to be closed.
std::string ForgetDirectory(DIR* directory) {
  State& state = Shared();
  const std::lock_guard<std::mutex> lock(state.mutex);
  const auto found = state.openDirectories.extract(directory);
  return found.empty() ? std::string() : found.mapped();
}

bool HasFakeAccount() {
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  return Shared().account.has_value();
}

// Comes last in a call: what is freed after it might change errno.
template <typename Result>
Result Failed(int error, Result result) {
  errno = error;
  return result;
}

std::string Octal(mode_t mode) {
  std::array<char, 16> text{};
  (void)std::snprintf(text.data(), text.size(), "%04o", mode);
  return text.data();
}

void AddFault(Fault fault) {
  static constexpr std::array<std::string_view, 19> names = {
      "open",    "write",    "close", "renameat2", "rename",       "mkdir",  "opendir",
      "readdir", "closedir", "stat",  "lstat",     "chmod",        "lchown", "getpwnam_r",
      "remove",  "unlink",   "rmdir", "realpath",  "epoll_create1"};
  if (std::find(names.begin(), names.end(), fault.name) == names.end() && fault.name != "thread") {
    throw std::invalid_argument("no such call: " + fault.name);
  }
  State& state = Shared();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.faults.push_back(std::move(fault));
}

}  // namespace

FailingCalls::FailingCalls() {
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  Shared().active = true;
}

FailingCalls::~FailingCalls() {
  State& state = Shared();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.active = false;
  state.record.clear();
  state.faults.clear();
  state.fakesAccounts = false;
  state.account.reset();
  state.milliseconds.reset();
  state.disk = {};
}

void FailingCalls::Fail(const std::string& name, int error, int which) {
  AddFault({name, which, false, error, std::nullopt, nullptr});
}

void FailingCalls::FailFrom(const std::string& name, int error, int first) {
  AddFault({name, first, true, error, std::nullopt, nullptr});
}

void FailingCalls::ShortenWrite(std::size_t bytes, int which) {
  AddFault({"write", which, false, 0, bytes, nullptr});
}

void FailingCalls::FillDisk(std::size_t bytes, int failures) {
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  Shared().disk = {bytes, failures};
}

void FailingCalls::Before(const std::string& name, std::function<void()> action, int which) {
  AddFault({name, which, false, 0, std::nullopt, std::move(action)});
}

void FailingCalls::UseAccount(uid_t user, gid_t group) {
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  Shared().fakesAccounts = true;
  Shared().account = Account{user, group};
}

void FailingCalls::UseNoAccount() {
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  Shared().fakesAccounts = true;
  Shared().account.reset();
}

void FailingCalls::LetTimePass(std::int64_t milliseconds) {
  const std::int64_t now = Shared().milliseconds.value_or(CoarseMilliseconds());
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  Shared().milliseconds = now + milliseconds;
}

std::vector<std::string> FailingCalls::Record() const {
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  return Shared().record;
}

std::vector<std::string> FailingCalls::Of(std::initializer_list<std::string_view> names) const {
  std::vector<std::string> chosen;
  for (const std::string& call : Record()) {
    const std::string_view name = std::string_view(call).substr(0, call.find(' '));
    if (std::find(names.begin(), names.end(), name) != names.end()) chosen.push_back(call);
  }
  return chosen;
}

void FailingCalls::Forget() {
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  Shared().record.clear();
}

// ---- The calls ----------------------------------------------------------

extern "C" {

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    std::va_list values;
    va_start(values, flags);
    mode = va_arg(values, mode_t);
    va_end(values);
  }
  const bool reads = (flags & O_ACCMODE) == O_RDONLY;
  const int error =
      ErrorOf("open", path + (reads ? std::string(" for reading") : " for writing " + Octal(mode)));
  return error != 0 ? Failed(error, -1) : __real_open(path, flags, mode);
}

// The library writes through this one.
long __real_syscall(long number, ...);
long __wrap_syscall(long number, ...) {
  std::va_list list;
  va_start(list, number);
  auto values = SystemCallArguments(list);
  va_end(list);
  if (number == SYS_write) {
    const auto size = static_cast<std::size_t>(values[2]);
    Verdict verdict = Judge("write", std::to_string(size));
    AskDisk(size, verdict);
    if (verdict.error != 0) return Failed(verdict.error, -1L);
    values[2] = static_cast<long>(std::min(size, verdict.takenBytes.value_or(size)));
  }
  return __real_syscall(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}

int __real_close(int descriptor);
int __wrap_close(int descriptor) {
  const int error = ErrorOf("close", "");
  // A close that fails has released the descriptor all the same.
  const int result = __real_close(descriptor);
  return error != 0 ? Failed(error, -1) : result;
}

int __real_renameat2(int fromDirectory, const char* from, int toDirectory, const char* to,
                     unsigned flags);
int __wrap_renameat2(int fromDirectory, const char* from, int toDirectory, const char* to,
                     unsigned flags) {
  const int error =
      ErrorOf("renameat2", std::string(from) + " " + to + " " + std::to_string(flags));
  return error != 0 ? Failed(error, -1)
                    : __real_renameat2(fromDirectory, from, toDirectory, to, flags);
}

int __real_rename(const char* from, const char* to);
int __wrap_rename(const char* from, const char* to) {
  const int error = ErrorOf("rename", std::string(from) + " " + to);
  return error != 0 ? Failed(error, -1) : __real_rename(from, to);
}

int __real_mkdir(const char* path, mode_t mode);
int __wrap_mkdir(const char* path, mode_t mode) {
  const int error = ErrorOf("mkdir", std::string(path) + " " + Octal(mode));
  return error != 0 ? Failed(error, -1) : __real_mkdir(path, mode);
}

DIR* __real_opendir(const char* path);
DIR* __wrap_opendir(const char* path) {
  const int error = ErrorOf("opendir", path);
  if (error != 0) return Failed<DIR*>(error, nullptr);
  DIR* const directory = __real_opendir(path);
  if (directory == nullptr) return nullptr;
  const std::lock_guard<std::mutex> lock(Shared().mutex);
  Shared().openDirectories[directory] = path;
  return directory;
}

dirent* __real_readdir(DIR* directory);
dirent* __wrap_readdir(DIR* directory) {
  const int error = ErrorOf("readdir", "");
  return error != 0 ? Failed<dirent*>(error, nullptr) : __real_readdir(directory);
}

int __real_closedir(DIR* directory);
int __wrap_closedir(DIR* directory) {
  const int error = ErrorOf("closedir", ForgetDirectory(directory));
  const int result = __real_closedir(directory);
  return error != 0 ? Failed(error, -1) : result;
}

int __real_stat(const char* path, struct stat* status);
int __wrap_stat(const char* path, struct stat* status) {
  const int error = ErrorOf("stat", path);
  return error != 0 ? Failed(error, -1) : __real_stat(path, status);
}

int __real_lstat(const char* path, struct stat* status);
int __wrap_lstat(const char* path, struct stat* status) {
  const int error = ErrorOf("lstat", path);
  return error != 0 ? Failed(error, -1) : __real_lstat(path, status);
}

int __real_chmod(const char* path, mode_t mode);
int __wrap_chmod(const char* path, mode_t mode) {
  const int error = ErrorOf("chmod", std::string(path) + " " + Octal(mode));
  return error != 0 ? Failed(error, -1) : __real_chmod(path, mode);
}

int __real_lchown(const char* path, uid_t user, gid_t group);
int __wrap_lchown(const char* path, uid_t user, gid_t group) {
  const int error = ErrorOf(
      "lchown", std::string(path) + " " + std::to_string(user) + ":" + std::to_string(group));
  if (error != 0) return Failed(error, -1);
  return HasFakeAccount() ? 0 : __real_lchown(path, user, group);
}

int __real_getpwnam_r(const char* name, passwd* record, char* buffer, std::size_t size,
                      passwd** found);
int __wrap_getpwnam_r(const char* name, passwd* record, char* buffer, std::size_t size,
                      passwd** found) {
  *found = nullptr;
  const Verdict verdict = Judge("getpwnam_r", name);
  if (verdict.error != 0) return verdict.error;
  {
    const std::lock_guard<std::mutex> lock(Shared().mutex);
    if (Shared().fakesAccounts) {
      if (!Shared().account) return 0;
      *record = {};
      record->pw_uid = Shared().account->user;
      record->pw_gid = Shared().account->group;
      *found = record;
      return 0;
    }
  }
  return __real_getpwnam_r(name, record, buffer, size, found);
}

int __real_remove(const char* path);
int __wrap_remove(const char* path) {
  const int error = ErrorOf("remove", path);
  return error != 0 ? Failed(error, -1) : __real_remove(path);
}

int __real_unlink(const char* path);
int __wrap_unlink(const char* path) {
  const int error = ErrorOf("unlink", path);
  return error != 0 ? Failed(error, -1) : __real_unlink(path);
}

int __real_rmdir(const char* path);
int __wrap_rmdir(const char* path) {
  const int error = ErrorOf("rmdir", path);
  return error != 0 ? Failed(error, -1) : __real_rmdir(path);
}

char* __real_realpath(const char* path, char* resolved);
char* __wrap_realpath(const char* path, char* resolved) {
  const int error = ErrorOf("realpath", path);
  return error != 0 ? Failed<char*>(error, nullptr) : __real_realpath(path, resolved);
}

int __real_clock_gettime(clockid_t clock, timespec* now);
int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  if (clock == CLOCK_MONOTONIC_COARSE) {
    const std::lock_guard<std::mutex> lock(Shared().mutex);
    if (const auto milliseconds = Shared().milliseconds) {
      *now = {*milliseconds / 1000, *milliseconds % 1000 * 1'000'000};
      return 0;
    }
  }
  return __real_clock_gettime(clock, now);
}

int __real_epoll_create1(int flags);
int __wrap_epoll_create1(int flags) {
  const int error = ErrorOf("epoll_create1", "");
  return error != 0 ? Failed(error, -1) : __real_epoll_create1(flags);
}

// std::thread::_M_start_thread(std::unique_ptr<_State>, void (*)()). The
// thread's state comes by reference and is passed on unopened.
void __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    void* thread, void* threadState, void (*depend)());
void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    void* thread, void* threadState, void (*depend)()) {
  const int error = Judge("thread", "").error;
  if (error != 0) throw std::system_error(error, std::generic_category());
  __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
      thread, threadState, depend);
}

}  // extern "C"
