// Counts what the service did.
#ifndef SERVICE_STATISTICS_H
#define SERVICE_STATISTICS_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

#include "Exchange.h"

// Thread-safe.
class Statistics {
 public:
  struct Totals {
    std::uint64_t answered = 0;  // 2xx
    std::uint64_t refused = 0;   // 4xx
    std::uint64_t failed = 0;    // 5xx
    std::uint64_t bodyBytes = 0;

    std::uint64_t Requests() const { return answered + refused + failed; }
  };

  void Add(const Exchange& exchange);

  Totals Sum() const;

  // The durations of the requests since the last call, in no order.
  std::vector<std::chrono::microseconds> TakeDurations();

 private:
  mutable std::mutex mutex;
  Totals totals;
  std::vector<std::chrono::microseconds> durations;
};

#endif  // SERVICE_STATISTICS_H
