#include "StandardError.h"

#include <pthread.h>

#include <csignal>
#include <ctime>
#include <iostream>
#include <memory>
#include <mutex>

namespace {

// Guards the flags of std::cerr, which have no lock of their own. Held while
// writing: a blocked reader of standard error holds up its writers anyway.
std::mutex streamMutex;

// Keeps SIGPIPE from the process while a thread writes to a pipe that may have
// no reader, without touching the process-wide handler.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    wasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &callersMask);
  }
  ~BrokenPipeGuard() {
    if (!wasPending) {
      // Takes the signal that the write raised, if it did.
      const timespec noWait{};
      (void)sigtimedwait(&brokenPipe, nullptr, &noWait);
    }
    pthread_sigmask(SIG_SETMASK, &callersMask, nullptr);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  sigset_t brokenPipe{};
  sigset_t callersMask{};
  bool wasPending = false;
};

// A cancelled thread unwinds; out of a log call, which lets nothing pass, that
// would end the process. The cancellation waits until the write is done.
class CancellationGuard {
 public:
  CancellationGuard() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &callersState); }
  ~CancellationGuard() { pthread_setcancelstate(callersState, nullptr); }
  CancellationGuard(const CancellationGuard&) = delete;
  CancellationGuard& operator=(const CancellationGuard&) = delete;

 private:
  int callersState = PTHREAD_CANCEL_ENABLE;
};

}  // namespace

void WriteToStandardError(const char* line) {
  const CancellationGuard noCancellation;
  const BrokenPipeGuard noBrokenPipe;
  const std::lock_guard<std::mutex> lock(streamMutex);
  try {
    // A null line writes nothing: it only sets the bad bit.
    if (line != nullptr) std::cerr.clear();
    std::cerr << line;
  } catch (const std::ios_base::failure&) {
    // The application asked std::cerr to throw; a lost line is all there is.
    return;
  }
}

void ResetStandardErrorInChild() {
  std::construct_at(&streamMutex);
}
