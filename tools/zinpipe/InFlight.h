// Records that were handed over and not yet seen in a file.
#ifndef ZINPIPE_IN_FLIGHT_H
#define ZINPIPE_IN_FLIGHT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

class InFlight {
 public:
  void Add(std::uint64_t lines, std::size_t bytes) {
    records.push_back({lines, bytes});
    linesInFlight += lines;
    bytesInFlight += bytes;
  }

  // `lines` more lines have turned up; they come in the order of the records.
  void Seen(std::uint64_t lines) {
    while (lines > 0 && !records.empty()) {
      Record& oldest = records.front();
      const std::uint64_t part = std::min(lines, oldest.lines);
      oldest.lines -= part;
      lines -= part;
      linesInFlight -= part;
      if (oldest.lines > 0) return;
      bytesInFlight -= oldest.bytes;
      records.pop_front();
    }
  }

  // No more of them will turn up. Returns the number of their lines.
  std::uint64_t WriteOff() {
    records.clear();
    bytesInFlight = 0;
    return std::exchange(linesInFlight, 0);
  }

  std::size_t Records() const { return records.size(); }
  std::uint64_t Lines() const { return linesInFlight; }
  std::size_t Bytes() const { return bytesInFlight; }

 private:
  struct Record {
    std::uint64_t lines;
    std::size_t bytes;
  };
  std::deque<Record> records;
  std::uint64_t linesInFlight = 0;
  std::size_t bytesInFlight = 0;
};

#endif  // ZINPIPE_IN_FLIGHT_H
