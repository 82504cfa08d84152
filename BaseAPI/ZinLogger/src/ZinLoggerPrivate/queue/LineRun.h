// What the worker hands to the kernel in one call: lines that wait for the same
// file, one after the other.
#ifndef ZIN_LINE_RUN_H
#define ZIN_LINE_RUN_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

// first: sub-directory key, "" for the channel's directory itself.
// second: the finished line; empty in an exit marker, which ends the worker.
using LogRecord = std::pair<std::string, std::string>;

// Begins as one record, whose line then grows by those that follow it. For one
// thread.
class LineRun {
 public:
  static constexpr std::size_t mostBytes = std::size_t{64} * 1024;  // unless one line has more
  static constexpr std::size_t mostLines = 1024;

  LineRun() { record.second.reserve(mostBytes); }

  // The record to begin with is put there.
  LogRecord& Begin() {
    lineCount = 1;
    doneCount = 0;
    countedCount = 1;
    return record;
  }

  const std::string& Key() const { return record.first; }
  std::string_view Text() const { return record.second; }
  std::size_t LineCount() const { return lineCount; }

  std::string_view Line(std::size_t index) const {
    const std::size_t begin = index == 0 ? 0 : ends[index - 1];
    return Text().substr(begin, EndOf(index) - begin);
  }

  // Where the line ends in the text.
  std::size_t EndOf(std::size_t index) const {
    return index + 1 == lineCount ? record.second.size() : ends[index];
  }

  // Does not allocate: a queue asks while it holds its lock.
  bool HasRoomFor(std::size_t length) const {
    const std::size_t most = std::min(record.second.capacity(), mostBytes);
    const std::size_t size = record.second.size();
    return lineCount < mostLines && size <= most && length <= most - size;
  }

  // Adds a line in two pieces.
  void Add(std::string_view begin, std::string_view rest) {
    ends[lineCount - 1] = record.second.size();
    record.second.append(begin).append(rest);
    ++lineCount;
  }

  // The lines that the kernel has, or that are lost, from the first on.
  std::size_t DoneCount() const { return doneCount; }
  bool IsDone() const { return doneCount == lineCount; }
  void AddDone(std::size_t count) { doneCount += count; }

  // How many lines do not wait any longer and were not told before: those that are
  // done, and the one that is begun next.
  std::size_t TakeNewlyBegun() {
    const std::size_t begun = std::min(doneCount + 1, lineCount);
    return begun - std::exchange(countedCount, begun);
  }

 private:
  LogRecord record;
  std::array<std::size_t, mostLines> ends{};  // of all lines but the last
  std::size_t lineCount = 1;
  std::size_t doneCount = 0;
  std::size_t countedCount = 1;
};

#endif  // ZIN_LINE_RUN_H
