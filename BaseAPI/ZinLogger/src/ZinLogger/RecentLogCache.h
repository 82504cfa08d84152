// The latest lines of the process in memory, handed out in batches that the
// caller acknowledges.
#ifndef ZIN_RECENT_LOG_CACHE_H
#define ZIN_RECENT_LOG_CACHE_H

#include <deque>
#include <mutex>
#include <string>

// Thread-safe. The mutex is a leaf, held for the in-memory steps alone. The
// operations throw std::system_error when it cannot be locked.
class RecentLogCache {
 public:
  // Built on first use and never destroyed: threads may log while the process
  // exits.
  static RecentLogCache& Instance();

  // Adds one line; the oldest goes when 1500 are held.
  void Append(const std::string& line);

  // Returns the pending batch, or, when none is pending, makes one of at most
  // maxLines of the oldest lines. Empty when maxLines is less than 1.
  std::string GetBatch(int maxLines);

  // Forgets the pending batch if it was delivered; else it stays on offer.
  void ClearBatch(bool delivered);

  // Around fork: the child finds the lines whole and the mutex free.
  void LockForFork() { mutex.lock(); }
  void UnlockAfterFork() { mutex.unlock(); }

 private:
  std::mutex mutex;
  std::deque<std::string> recentLines;  // oldest at the front; guarded by mutex
  std::string pendingBatch;             // guarded by mutex
};

#endif  // ZIN_RECENT_LOG_CACHE_H
