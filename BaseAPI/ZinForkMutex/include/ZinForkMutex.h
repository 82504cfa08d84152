// A mutex that a fork waits for, so that no child inherits it locked.
#ifndef ZIN_FORK_MUTEX_H
#define ZIN_FORK_MUTEX_H

#include <atomic>
#include <mutex>

namespace zin_fork_mutex {
// Its address tells threads apart, and is the same in a child of fork. The
// storage model spares the call that the default one makes at every access from
// a shared library.
[[gnu::tls_model("initial-exec")]] inline constinit thread_local char thisThread = 0;
}  // namespace zin_fork_mutex

// The handlers around a fork hold it from before the fork until after it, in the
// thread that forks. A program's fork handlers that were registered before the
// library was loaded run in between, and may log: what that thread does
// meanwhile goes through, as nobody else can be inside.
//
// Otherwise a std::mutex; Plain gives it to those who wait on a condition.
class ZinForkMutex {
 public:
  constexpr ZinForkMutex() = default;
  ZinForkMutex(const ZinForkMutex&) = delete;
  ZinForkMutex& operator=(const ZinForkMutex&) = delete;

  void lock() {
    if (!IsHeldByThisFork()) mutex.lock();
  }
  bool try_lock() { return IsHeldByThisFork() || mutex.try_lock(); }
  void unlock() {
    if (!IsHeldByThisFork()) mutex.unlock();
  }

  // For the handlers around a fork; the second one in parent and child.
  void LockForFork() {
    mutex.lock();
    forkingThread.store(&zin_fork_mutex::thisThread, std::memory_order_relaxed);
  }
  void UnlockAfterFork() {
    forkingThread.store(nullptr, std::memory_order_relaxed);
    mutex.unlock();
  }

  // Relaxed: a thread can only find itself here if it has stored itself.
  bool IsHeldByThisFork() const noexcept {
    const char* const thread = forkingThread.load(std::memory_order_relaxed);
    return thread != nullptr && thread == &zin_fork_mutex::thisThread;
  }

  std::mutex& Plain() noexcept { return mutex; }

 private:
  std::mutex mutex;
  std::atomic<const char*> forkingThread{nullptr};
};

#endif  // ZIN_FORK_MUTEX_H
