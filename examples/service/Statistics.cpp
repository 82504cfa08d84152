#include "Statistics.h"

#include <utility>

void Statistics::Add(const Exchange& exchange) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (exchange.status < 400) {
    ++totals.answered;
  } else if (exchange.status < 500) {
    ++totals.refused;
  } else {
    ++totals.failed;
  }
  totals.bodyBytes += exchange.bodyBytes;
  durations.push_back(exchange.duration);
}

Statistics::Totals Statistics::Sum() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return totals;
}

std::vector<std::chrono::microseconds> Statistics::TakeDurations() {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(durations, {});
}
