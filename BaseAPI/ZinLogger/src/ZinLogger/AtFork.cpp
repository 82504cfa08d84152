#include "AtFork.h"

#include <pthread.h>

#include <atomic>

#include "LogFileStream.h"
#include "RecentLogCache.h"
#include "StandardError.h"
#include "ZinDirOwnership.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

namespace {

// Also what keeps the record reachable after the facade has given it up.
std::atomic<ZinLoggerPrivate*> stateForFork{nullptr};

void BeforeFork() {
  // Builds what is built on first use, so that the child never inherits an
  // object that another thread had half built.
  (void)ZinLogger::GetInstance();
  if (ZinLoggerPrivate* const state = stateForFork.load()) state->LockForFork();
  RecentLogCache::Instance().LockForFork();
  FailedOwnerNames::Instance().LockForFork();
  LogFileStream::LockForFork();
}

void InParent() {
  LogFileStream::UnlockInParent();
  FailedOwnerNames::Instance().UnlockAfterFork();
  RecentLogCache::Instance().UnlockAfterFork();
  if (ZinLoggerPrivate* const state = stateForFork.load()) state->UnlockInParent();
}

void InChild() {
  LogFileStream::CloseAllInChild();
  FailedOwnerNames::Instance().UnlockAfterFork();
  RecentLogCache::Instance().UnlockAfterFork();
  if (ZinLoggerPrivate* const state = stateForFork.load()) state->ResetInChild();
  ResetStandardErrorInChild();
}

// When the library is loaded, which is as early as can be: handlers that the
// program registers later run outside of these, when no lock is held.
[[maybe_unused]] const int forkHandlersRegistered = pthread_atfork(BeforeFork, InParent, InChild);

}  // namespace

void SetStateForFork(ZinLoggerPrivate* state) {
  stateForFork.store(state);
}
