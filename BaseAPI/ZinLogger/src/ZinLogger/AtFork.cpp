#include "AtFork.h"

#include <pthread.h>

#include <atomic>

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
  stateForFork.load()->LockForFork();
  RecentLogCache::Instance().LockForFork();
  FailedOwnerNames::Instance().LockForFork();
}

void InParent() {
  FailedOwnerNames::Instance().UnlockAfterFork();
  RecentLogCache::Instance().UnlockAfterFork();
  stateForFork.load()->UnlockInParent();
}

void InChild() {
  FailedOwnerNames::Instance().UnlockAfterFork();
  RecentLogCache::Instance().UnlockAfterFork();
  stateForFork.load()->ResetInChild();
  ResetStandardErrorInChild();
}

[[maybe_unused]] const int forkHandlersRegistered = pthread_atfork(BeforeFork, InParent, InChild);

}  // namespace

void SetStateForFork(ZinLoggerPrivate* state) {
  stateForFork.store(state);
}
