#include "Histogram.h"

#include <algorithm>
#include <bit>

void Histogram::Record(std::int64_t nanoseconds) {
  ++buckets[BucketOf(static_cast<std::uint64_t>(std::max<std::int64_t>(nanoseconds, 0)))];
  ++total;
}

void Histogram::Add(const Histogram& other) {
  for (std::size_t i = 0; i < buckets.size(); ++i) buckets[i] += other.buckets[i];
  total += other.total;
}

std::int64_t Histogram::Quantile(double share) const {
  const double wanted = share * static_cast<double>(total);
  std::uint64_t below = 0;
  for (std::size_t i = 0; i < buckets.size(); ++i) {
    below += buckets[i];
    if (below > 0 && static_cast<double>(below) >= wanted) return MiddleOf(i);
  }
  return 0;
}

std::string Histogram::ToJson() const {
  std::string json = "[";
  for (std::size_t i = 0; i < buckets.size(); ++i) {
    if (buckets[i] == 0) continue;
    if (json.size() > 1) json += ',';
    json += '[' + std::to_string(MiddleOf(i)) + ',' + std::to_string(buckets[i]) + ']';
  }
  return json + ']';
}

// Values below 64 have a bucket each; above, the leading bit chooses a row and
// the next six bits a bucket in it.
std::size_t Histogram::BucketOf(std::uint64_t nanoseconds) {
  const auto width = static_cast<unsigned>(std::bit_width(nanoseconds));
  if (width <= stepBits) return nanoseconds;
  const unsigned shift = width - stepBits - 1;
  return (std::size_t{shift} << stepBits) + (nanoseconds >> shift);
}

std::int64_t Histogram::MiddleOf(std::size_t bucket) {
  constexpr std::size_t row = std::size_t{1} << stepBits;
  if (bucket < 2 * row) return static_cast<std::int64_t>(bucket);
  const std::size_t shift = (bucket >> stepBits) - 1;
  const std::size_t low = (bucket - (shift << stepBits)) << shift;
  return static_cast<std::int64_t>(low + (std::size_t{1} << shift) / 2);
}
