#include "StandardError.h"

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>

#include "DetachedThread.h"

namespace {

using Clock = std::chrono::system_clock;

// Guards the flags of std::cerr, which have no lock of their own. Held while
// writing, which may take long, or for ever: the buffer of the stream may be the
// program's own, with locks of its own that another thread holds while it logs.
// So nobody waits for it longer than mostWait.
std::timed_mutex streamMutex;
constexpr std::chrono::seconds mostWait{1};

// What the calling thread is doing.
struct ThreadState {
  bool isWriting = false;
  bool mayNotWait = false;
  ShortWaitForStandardError* shortWait = nullptr;
};

// The storage model spares a dependency: the default one needs the loader's help
// at every access from a shared library.
[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadState thisThread;

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

class WritingMark {
 public:
  WritingMark() { thisThread.isWriting = true; }
  ~WritingMark() { thisThread.isWriting = false; }
  WritingMark(const WritingMark&) = delete;
  WritingMark& operator=(const WritingMark&) = delete;
};

bool TakesBytes(std::chrono::milliseconds patience) {
  pollfd standardError{STDERR_FILENO, POLLOUT, 0};
  return poll(&standardError, 1, static_cast<int>(patience.count())) != 0;
}

void WriteToDescriptor(const char* line) {
  if (line == nullptr) return;
  for (std::size_t left = std::strlen(line); left > 0;) {
    const ssize_t written = write(STDERR_FILENO, line, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    line += written;
    left -= static_cast<std::size_t>(written);
  }
}

// What the inserter does, but for flushing the stream that std::cerr is tied to:
// that belongs to other threads.
void Insert(const char* line) {
  const auto length = static_cast<std::streamsize>(std::strlen(line));
  std::streambuf* const buffer = std::cerr.rdbuf();
  bool written = false;
  try {
    written = buffer != nullptr && buffer->sputn(line, length) == length;
    if (written && (std::cerr.flags() & std::ios_base::unitbuf) != 0) {
      written = buffer->pubsync() == 0;
    }
  } catch (...) {
    // The stream is marked, and who asked it to throw gets what its buffer threw.
    const bool passItOn = (std::cerr.exceptions() & std::ios_base::badbit) != 0;
    try {
      std::cerr.setstate(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {
      written = false;
    }
    if (passItOn) throw;
  }
  if (!written) std::cerr.setstate(std::ios_base::badbit);
}

void WriteToStream(const char* line) {
  const std::unique_lock<std::timed_mutex> lock(streamMutex, Clock::now() + mostWait);
  if (!lock.owns_lock()) {
    WriteToDescriptor(line);
    return;
  }
  const WritingMark writing;
  try {
    // A null line writes nothing: it only sets the bad bit.
    if (line == nullptr) {
      std::cerr.setstate(std::ios_base::badbit);
    } else {
      std::cerr.clear();
      Insert(line);
    }
  } catch (const std::ios_base::failure&) {
    // The application asked std::cerr to throw; a lost line is all there is.
    return;
  }
}

// Shared by the thread that writes it and the one that waits for that.
class LineOnItsWay {
 public:
  explicit LineOnItsWay(const char* line) : text(line) {}

  void MarkWritten() {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      written = true;
    }
    condition.notify_one();
  }

  void WaitUntilWritten(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mutex);
    (void)condition.wait_until(lock, deadline, [this] { return written; });
  }

  const std::string text;

 private:
  std::mutex mutex;
  std::condition_variable condition;
  bool written = false;  // guarded by mutex
};

}  // namespace

void WriteToStandardError(const char* line) {
  const CancellationGuard noCancellation;
  const BrokenPipeGuard noBrokenPipe;
  if (thisThread.isWriting) {
    WriteToDescriptor(line);
  } else if (thisThread.shortWait != nullptr && line != nullptr) {
    thisThread.shortWait->Write(line);
  } else if (!thisThread.mayNotWait || TakesBytes({})) {
    WriteToStream(line);
  }
}

NoWaitForStandardError::NoWaitForStandardError() {
  thisThread.mayNotWait = true;
}

NoWaitForStandardError::~NoWaitForStandardError() {
  thisThread.mayNotWait = false;
}

ShortWaitForStandardError::ShortWaitForStandardError() {
  thisThread.shortWait = this;
}

ShortWaitForStandardError::~ShortWaitForStandardError() {
  thisThread.shortWait = nullptr;
}

void ShortWaitForStandardError::Write(const char* line) {
  const auto task = std::make_shared<LineOnItsWay>(line);
  try {
    StartDetachedThread("zin-stderr", [task] {
      if (TakesBytes(mostWait)) WriteToStandardError(task->text.c_str());
      task->MarkWritten();
    });
  } catch (const std::system_error&) {
    WriteToStream(line);
    return;
  }
  const auto begin = std::chrono::steady_clock::now();
  task->WaitUntilWritten(Clock::now() + mostWait);
  waited += std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                  begin);
}

void ResetStandardErrorInChild() {
  std::construct_at(&streamMutex);
  thisThread.isWriting = false;
}
