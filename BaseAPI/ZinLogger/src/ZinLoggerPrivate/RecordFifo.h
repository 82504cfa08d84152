// The records of a queue, oldest first, in a few large pieces of memory.
#ifndef ZIN_RECORD_FIFO_H
#define ZIN_RECORD_FIFO_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

// first: sub-directory key, "" for the channel's directory itself.
// second: the finished line; empty in an exit marker, which ends the worker.
using LogRecord = std::pair<std::string, std::string>;

// Bytes. One processor's write to a line of the cache takes it from all others.
inline constexpr std::size_t cacheLine = 64;

// Lines of one process begin alike: name, date, thread. A line is therefore
// kept as the number of bytes that it shares with the beginning of the line
// before it, and the rest. A long queue takes about half the memory that its
// text would, and a copy of half the length is made under the queue's lock.
//
// One thread may append while another takes; each side needs a lock of its own
// when it has several threads. The counts may be read by any thread.
class RecordFifo {
 public:
  RecordFifo();
  ~RecordFifo();
  RecordFifo(const RecordFifo&) = delete;
  RecordFifo& operator=(const RecordFifo&) = delete;

  // Throws std::bad_alloc, and has changed nothing then.
  void Append(std::string_view key, std::string_view line);

  // Takes the oldest record. False: there is none. Throws std::bad_alloc, and
  // has taken nothing then.
  bool Take(LogRecord& record);

  // Removes the records without a line. For a thread that has both sides to
  // itself. Throws std::bad_alloc, and has removed nothing then.
  void DropExitMarkers();

  // Removes everything. For a thread that has both sides to itself.
  void Clear();

  // Since construction; the difference is the number of records held, where
  // what DropExitMarkers and Clear removed counts as taken.
  std::uint64_t AppendedCount() const noexcept { return appended.load(std::memory_order_acquire); }
  std::uint64_t TakenCount() const noexcept { return taken.load(std::memory_order_acquire); }

 private:
  struct Block;

  // A place between two records, and the line before it.
  struct Position {
    Block* block = nullptr;
    const char* next = nullptr;
    std::string lineBefore;
  };

  static Block* NewBlock(std::size_t size);
  static void DeleteBlocks(Block* first);
  static void Read(Position& position, LogRecord& record);
  void MakeRoom(std::size_t size);
  void Recycle(Block* first, const Block* end);

  // The appending side.
  Block* lastBlock;
  char* end;  // of what is used of it
  std::string lastLine;
  std::atomic<std::uint64_t> appended{0};

  // The taking side. A cache line that one side writes with every record is not
  // to be read by the other with every record.
  alignas(cacheLine) Position oldest;
  std::uint64_t appendedSeen = 0;  // an earlier value of `appended`
  std::atomic<std::uint64_t> taken{0};

  // One empty block on its way back to the appending side, or null.
  alignas(cacheLine) std::atomic<Block*> spareBlock{nullptr};
};

#endif  // ZIN_RECORD_FIFO_H
