#include "ZinDirOwnership.h"

#include <pthread.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "CoarseClock.h"
#include "DirectoryEntries.h"
#include "SelfLog.h"

namespace {

constexpr int failure = -10000;
constexpr const char* thisUnit = "BaseAPI/ZinLogger/src/unix/ZinDir";
constexpr const char* thisFunction = "ZinChownDirAndFirstDepthFiles";

// The C library looks accounts up under locks of its own, which a child of fork
// inherits locked when another thread held one at that moment. All lookups of
// this library therefore happen under this lock, and a fork waits for it.
ZinForkMutex lookupMutex;

void LockLookup() {
  lookupMutex.LockForFork();
}
void UnlockLookup() {
  lookupMutex.UnlockAfterFork();
}

[[maybe_unused]] const int forkHandlersRegistered =
    pthread_atfork(LockLookup, UnlockLookup, UnlockLookup);

struct Account {
  uid_t user;
  gid_t group;
};

// No account: `error` is that of the lookup, 0 when the name is just unknown.
std::optional<Account> LookUp(const char* name, std::span<char> buffer, int& error) {
  passwd record{};
  passwd* found = nullptr;
  error = getpwnam_r(name, &record, buffer.data(), buffer.size(), &found);
  if (found == nullptr) return std::nullopt;
  return Account{found->pw_uid, found->pw_gid};
}

// A lookup reads files and may ask servers: a hundred system calls are nothing
// unusual. A key whose file cannot be opened asks twice for each of its lines,
// so an answer serves for a second.
struct Answer {
  std::array<char, 64> name;  // empty: there is no answer yet
  std::optional<Account> account;
  int error;
  std::int64_t time;  // milliseconds of the coarse clock
};
constinit Answer lastAnswer{};  // guarded by lookupMutex

bool Serves(const Answer& answer, std::string_view name, std::int64_t now) {
  constexpr std::int64_t millisecondsOfUse = 1000;
  return answer.name.data() == name && now - answer.time < millisecondsOfUse;
}

// A lookup that failed for a passing reason is made again the next time.
void Keep(std::string_view name, const std::optional<Account>& account, int error,
          std::int64_t now) {
  const bool isPassing = error != 0 && error != ENOENT && error != ESRCH;
  lastAnswer = Answer{{}, account, error, now};
  if (!isPassing && name.size() < lastAnswer.name.size()) {
    name.copy(lastAnswer.name.data(), name.size());
  }
}

std::optional<Account> FindAccount(const char* name, int& error) {
  constexpr std::size_t firstBufferSize = 1024;
  constexpr std::size_t largestBufferSize = std::size_t{1} << 20;
  for (std::size_t size = firstBufferSize;; size *= 2) {
    std::vector<char> buffer(size);  // not under the lock: operator new may log
    const std::lock_guard lock(lookupMutex);
    const std::int64_t now = CoarseMilliseconds();
    if (!Serves(lastAnswer, name, now)) {
      const std::optional<Account> account = LookUp(name, buffer, error);
      if (error == ERANGE && size < largestBufferSize) continue;
      Keep(name, account, error, now);
    }
    error = lastAnswer.error;
    return lastAnswer.account;
  }
}

// Changes a link itself, not what it points to.
bool ChangeOwner(const char* path, const Account& account) {
  if (lchown(path, account.user, account.group) == 0) return true;
  const int error = errno;
  ZIN_SELF_LOG(thisUnit, thisFunction, ERROR, "Failed to lchown to user, error:%d", error);
  return false;
}

bool IsFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

}  // namespace

int ZinChownDirAndFirstDepthFiles(const char* dir, const char* owner) {
  int error = 0;
  const std::optional<Account> account = FindAccount(owner, error);
  if (!account) {
    if (FailedOwnerNames::Instance().Insert(owner)) {
      ZIN_SELF_LOG(thisUnit, thisFunction, ERROR, "Can't get user name id, errno: %d, owner = %s",
                   error, owner);
    }
    return failure;
  }
  if (!ChangeOwner(dir, *account)) return failure;

  // Deliberate: a log file's path comes here, too, and is reported each time.
  DirectoryEntries entries(dir);
  if (!entries.IsOpen()) {
    ZIN_SELF_LOG(thisUnit, thisFunction, ERROR, "Failed open dir,path=%s", dir);
    return failure;
  }
  // Deliberate: the first failure ends the walk; later files keep their owner.
  while (const char* const name = entries.Next()) {
    const std::string child = std::string(dir) + "/" + name;
    if (IsFile(child) && !ChangeOwner(child.c_str(), *account)) return failure;
  }
  return 0;
}

FailedOwnerNames& FailedOwnerNames::Instance() {
  // Not from operator new: that may be the program's own, and log. A fork may be
  // the first to come here, with all other locks held.
  alignas(FailedOwnerNames) static std::byte memory[sizeof(FailedOwnerNames)];
  static FailedOwnerNames& instance = *new (memory) FailedOwnerNames;
  return instance;
}

bool FailedOwnerNames::Insert(const char* owner) {
  // Made, and freed when it is not needed, without the lock: operator new and
  // delete may be the program's own, and log.
  std::set<std::string> name{owner};
  const std::lock_guard lock(mutex);
  names.merge(name);
  return name.empty();
}
