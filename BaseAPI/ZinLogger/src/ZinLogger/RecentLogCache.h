// The latest lines of the process in memory, handed out in batches that the
// caller acknowledges.
#ifndef ZIN_RECENT_LOG_CACHE_H
#define ZIN_RECENT_LOG_CACHE_H

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

// Thread-safe. The mutex is a leaf, held for the in-memory steps alone. The
// operations throw std::system_error when it cannot be locked.
class RecentLogCache {
 public:
  // Built on first use and never destroyed: threads may log while the process
  // exits.
  static RecentLogCache& Instance();

  // Adds one line; the oldest goes when 1500 are held.
  void Append(std::string_view line);

  // Returns the pending batch, or, when none is pending, makes one of at most
  // maxLines of the oldest lines. Empty when maxLines is less than 1.
  std::string GetBatch(int maxLines);

  // Forgets the pending batch if it was delivered; else it stays on offer.
  void ClearBatch(bool delivered);

  // Around fork: the child finds the lines whole and the mutex free.
  void LockForFork() { mutex.lock(); }
  void UnlockAfterFork() { mutex.unlock(); }

 private:
  static constexpr std::size_t capacity = 1500;  // lines

  std::mutex mutex;
  // A ring whose strings keep their memory: a line costs a copy, but only the
  // first ones an allocation. This and all that follows is guarded by mutex.
  std::vector<std::string> lines{capacity};
  std::size_t oldest = 0;
  std::size_t lineCount = 0;
  std::string pendingBatch;
};

#endif  // ZIN_RECENT_LOG_CACHE_H
