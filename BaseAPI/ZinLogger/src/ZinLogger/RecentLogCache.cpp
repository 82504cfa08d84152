#include "RecentLogCache.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

#include "BriefLock.h"
#include "ZinLogger.h"

RecentLogCache& RecentLogCache::Instance() {
  // Not from operator new: that may be the program's own, and log.
  alignas(RecentLogCache) static std::byte memory[sizeof(RecentLogCache)];
  static RecentLogCache& instance = *new (memory) RecentLogCache;
  return instance;
}

void RecentLogCache::Append(std::string_view line) {
  for (std::string fresh;; fresh.reserve(line.size())) {
    const BriefLock lock(mutex);
    // In a full ring this is the oldest line's place.
    std::string& place = Line(lineCount);
    if (place.capacity() < line.size()) {
      if (fresh.capacity() < line.size()) continue;
      place.swap(fresh);
    }
    place.assign(line);
    if (lineCount < capacity) {
      ++lineCount;
    } else {
      oldest = (oldest + 1) % capacity;
    }
    return;
  }
}

std::string RecentLogCache::GetBatch(int maxLines) {
  if (maxLines < 1) return {};
  const auto most = static_cast<std::size_t>(maxLines);
  auto fresh = std::make_shared<std::string>();
  std::shared_ptr<const std::string> batch;
  for (std::size_t needed = 0;; fresh->reserve(needed)) {
    const std::lock_guard lock(mutex);
    if (pendingBatch == nullptr && lineCount > 0) {
      const std::size_t count = std::min(most, lineCount);
      needed = BytesOf(count);
      if (fresh->capacity() < needed) continue;
      MoveOldest(count, *fresh);
      if (!fresh->empty()) pendingBatch = fresh;
    }
    batch = pendingBatch;
    break;
  }
  return batch == nullptr ? std::string() : *batch;
}

std::size_t RecentLogCache::BytesOf(std::size_t count) {
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < count; ++i) bytes += Line(i).size();
  return bytes;
}

// `to` has room for them.
void RecentLogCache::MoveOldest(std::size_t count, std::string& to) {
  for (std::size_t i = 0; i < count; ++i) to += Line(i);
  oldest = (oldest + count) % capacity;
  lineCount -= count;
}

void RecentLogCache::ClearBatch(bool delivered) {
  if (!delivered) return;
  std::shared_ptr<const std::string> delivery;  // is freed when the lock is gone
  const std::lock_guard lock(mutex);
  delivery.swap(pendingBatch);
}

std::string ZinGetCacheLog(int maxLines) {
  return RecentLogCache::Instance().GetBatch(maxLines);
}

void ZinClearLastLog(bool delivered) {
  RecentLogCache::Instance().ClearBatch(delivered);
}
