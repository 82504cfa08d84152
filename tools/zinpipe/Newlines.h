// Counts newlines, as fast as memory is read: every byte is counted twice, on
// its way to the logger and when it is read back.
#ifndef ZINPIPE_NEWLINES_H
#define ZINPIPE_NEWLINES_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string_view>

// Sums in many single bytes at once, which a compiler turns into vectors, for
// as many rows as a byte can count.
inline std::uint64_t CountNewlines(std::string_view text) {
  constexpr std::size_t lanes = 64;
  constexpr std::size_t mostRows = 255;
  std::uint64_t total = 0;
  while (text.size() >= lanes) {
    const std::size_t rows = std::min(text.size() / lanes, mostRows);
    std::array<std::uint8_t, lanes> sums{};
    const char* row = text.data();
    for (std::size_t i = 0; i < rows; ++i, row += lanes) {
      for (std::size_t lane = 0; lane < lanes; ++lane) {
        sums[lane] = static_cast<std::uint8_t>(sums[lane] + (row[lane] == '\n' ? 1 : 0));
      }
    }
    total = std::accumulate(sums.begin(), sums.end(), total);
    text.remove_prefix(rows * lanes);
  }
  return total + static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

#endif  // ZINPIPE_NEWLINES_H
