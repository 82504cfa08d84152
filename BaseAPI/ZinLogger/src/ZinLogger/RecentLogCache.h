// The latest lines of the process in memory, handed out in batches that the
// caller acknowledges.
#ifndef ZIN_RECENT_LOG_CACHE_H
#define ZIN_RECENT_LOG_CACHE_H

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "ZinForkMutex.h"

// Thread-safe. The mutex is a leaf, held for the in-memory steps alone: nothing
// is called meanwhile, the allocator included. The operations throw
// std::system_error when it cannot be locked.
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
  void LockForFork() { mutex.LockForFork(); }
  void UnlockAfterFork() { mutex.UnlockAfterFork(); }

 private:
  static constexpr std::size_t capacity = 1500;  // lines

  std::string& Line(std::size_t place) { return lines[(oldest + place) % capacity]; }
  std::size_t BytesOf(std::size_t count);
  void MoveOldest(std::size_t count, std::string& to);

  ZinForkMutex mutex;
  // A ring whose strings keep their memory: a line costs a copy, but only the
  // first ones an allocation. This and all that follows is guarded by mutex.
  std::array<std::string, capacity> lines;
  std::size_t oldest = 0;
  std::size_t lineCount = 0;
  std::shared_ptr<const std::string> pendingBatch;  // null: none
};

#endif  // ZIN_RECENT_LOG_CACHE_H
