#include "RecentLogCache.h"

#include "ZinLogger.h"

namespace {
constexpr std::size_t capacity = 1500;
}

RecentLogCache& RecentLogCache::Instance() {
  static RecentLogCache& instance = *new RecentLogCache;
  return instance;
}

void RecentLogCache::Append(const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (recentLines.size() >= capacity) recentLines.pop_front();
  recentLines.push_back(line);
}

std::string RecentLogCache::GetBatch(int maxLines) {
  if (maxLines < 1) return {};
  const std::lock_guard<std::mutex> lock(mutex);
  if (pendingBatch.empty()) {
    for (int taken = 0; taken < maxLines && !recentLines.empty(); ++taken) {
      pendingBatch += recentLines.front();
      recentLines.pop_front();
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
