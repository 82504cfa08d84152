// Counts durations in buckets that are at most 1.6 % wide, from 1 ns to hours.
#ifndef ZIN_BENCH_HISTOGRAM_H
#define ZIN_BENCH_HISTOGRAM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

// Recording is a few instructions and never allocates. For one thread; give
// each thread its own and add them up.
class Histogram {
 public:
  void Record(std::int64_t nanoseconds);
  void Add(const Histogram& other);

  std::uint64_t Count() const { return total; }

  // The duration in ns that the given share (0 to 1) of all does not exceed.
  std::int64_t Quantile(double share) const;

  // The filled buckets, as JSON: [[ns, count], ...].
  std::string ToJson() const;

 private:
  static constexpr unsigned stepBits = 6;  // 64 buckets for each power of two
  static std::size_t BucketOf(std::uint64_t nanoseconds);
  static std::int64_t MiddleOf(std::size_t bucket);

  std::array<std::uint64_t, std::size_t{64} << stepBits> buckets{};
  std::uint64_t total = 0;
};

#endif  // ZIN_BENCH_HISTOGRAM_H
