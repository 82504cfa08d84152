// A lock guard for mutexes that are held for some tens of nanoseconds.
#ifndef ZIN_BRIEF_LOCK_H
#define ZIN_BRIEF_LOCK_H

// Tells the processor that this is a loop that waits.
inline void PauseBriefly() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

// Tries again for a microsecond or two before it lets the kernel put the thread
// to sleep: sleeping and being woken takes longer than the holder needs, unless
// the holder has lost its processor. Throws std::system_error when the mutex
// cannot be locked.
template <typename Mutex>
class BriefLock {
 public:
  explicit BriefLock(Mutex& mutexToHold) : mutex(mutexToHold) {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
      if (mutex.try_lock()) return;
      PauseBriefly();
    }
    mutex.lock();
  }
  ~BriefLock() { mutex.unlock(); }
  BriefLock(const BriefLock&) = delete;
  BriefLock& operator=(const BriefLock&) = delete;

 private:
  static constexpr int mostAttempts = 100;

  Mutex& mutex;
};

#endif  // ZIN_BRIEF_LOCK_H
