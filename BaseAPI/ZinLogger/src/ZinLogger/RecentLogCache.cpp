#include "RecentLogCache.h"

#include "BriefLock.h"
#include "ZinLogger.h"

RecentLogCache& RecentLogCache::Instance() {
  static RecentLogCache& instance = *new RecentLogCache;
  return instance;
}

void RecentLogCache::Append(std::string_view line) {
  const BriefLock lock(mutex);
  // In a full ring this is the oldest line's place.
  lines[(oldest + lineCount) % capacity].assign(line);
  if (lineCount < capacity) {
    ++lineCount;
  } else {
    oldest = (oldest + 1) % capacity;
  }
}

std::string RecentLogCache::GetBatch(int maxLines) {
  if (maxLines < 1) return {};
  const std::lock_guard<std::mutex> lock(mutex);
  if (pendingBatch.empty()) {
    for (int taken = 0; taken < maxLines && lineCount > 0; ++taken) {
      pendingBatch += lines[oldest];
      oldest = (oldest + 1) % capacity;
      --lineCount;
    }
  }
  return pendingBatch;
}

void RecentLogCache::ClearBatch(bool delivered) {
  if (!delivered) return;
  const std::lock_guard<std::mutex> lock(mutex);
  pendingBatch.clear();
}

std::string ZinGetCacheLog(int maxLines) {
  return RecentLogCache::Instance().GetBatch(maxLines);
}

void ZinClearLastLog(bool delivered) {
  RecentLogCache::Instance().ClearBatch(delivered);
}
