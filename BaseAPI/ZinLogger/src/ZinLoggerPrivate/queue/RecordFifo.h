// The records of a queue, oldest first, in a few large pieces of memory.
#ifndef ZIN_RECORD_FIFO_H
#define ZIN_RECORD_FIFO_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "LineRun.h"

// Bytes. One processor's write to a line of the cache takes it from all others.
inline constexpr std::size_t cacheLine = 64;

// Lines of one process begin alike: name, date, thread. A line is therefore
// kept as the number of bytes that it shares with the beginning of the line
// before it, and the rest. A long queue takes about half the memory that its
// text would, and a copy of half the length is made under the queue's lock.
//
// One thread may append while another takes; each side needs a lock of its own
// when it has several threads. The counts may be read by any thread.
//
// Nothing is allocated or freed in here while those locks are held: operator new
// and delete may be the program's own, and may log. What an operation lacks it
// asks for through a Memory, and what it has no more use for it puts there.
//
// The two sides stand on cache lines of their own, which takes padding.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
class RecordFifo {
  struct Block {
    // Set before the first record of the next block is counted as appended, and
    // read after that.
    Block* next;
    std::size_t size;  // bytes for records, which follow

    char* Begin() { return reinterpret_cast<char*>(this + 1); }
    char* End() { return Begin() + size; }
  };

 public:
  class Memory {
   public:
    Memory() = default;
    ~Memory();
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    // Allocates the block that an Append lacked. Throws std::bad_alloc.
    void Provide();

    // Gives `record` the room that a Take lacked. Throws std::bad_alloc.
    void Provide(LogRecord& record) const;

   private:
    friend class RecordFifo;

    Block* provided = nullptr;
    Block* discarded = nullptr;  // and those that follow it
    std::size_t blockSize = 0;   // lacking
    std::size_t keyLength = 0;   // lacking
    std::size_t lineLength = 0;  // lacking
  };

  RecordFifo();
  ~RecordFifo();
  RecordFifo(const RecordFifo&) = delete;
  RecordFifo& operator=(const RecordFifo&) = delete;

  // False, and nothing has changed: it lacks a block.
  [[nodiscard]] bool Append(std::string_view key, std::string_view line, Memory& memory);

  enum class TakeResult { Taken, Empty, LacksRoom };

  // Takes the oldest record. LacksRoom: `record` is too small for it.
  TakeResult Take(LogRecord& record, Memory& memory);

  // Takes the oldest records into `run` as well, as long as they are lines of its key
  // for which it has room, and its text has at most `mostBytes` before each. They
  // go on counting as held, until CountTaken.
  void TakeAlong(LineRun& run, std::uint64_t mostBytes, Memory& memory);
  void CountTaken(std::uint64_t count);
  void CountAllBegunAsTaken();

  // Makes exit markers that wait count as taken, and passes over them later. For
  // a thread that has both sides to itself.
  void DropExitMarkers();

  // Removes everything. For a thread that has both sides to itself.
  void Clear(Memory& memory);

  // Since construction; the difference is the number of records held, where
  // what DropExitMarkers and Clear removed counts as taken.
  std::uint64_t AppendedCount() const noexcept { return appended.load(std::memory_order_acquire); }
  std::uint64_t TakenCount() const noexcept { return taken.load(std::memory_order_acquire); }

  // Whether a Take would find something.
  bool IsEmpty() const noexcept {
    const std::uint64_t count = begun.load(std::memory_order_acquire);  // never passes the other
    return count == AppendedCount();
  }

 private:
  // What a line can share with the one after it: the first bytes of it, as many
  // as the longest line of a log has.
  class LineBefore {
   public:
    std::string_view Text() const { return {text.data(), length}; }
    // The line that shares `shared` bytes with this one, and ends in `rest`.
    void BecomeNext(std::size_t shared, std::string_view rest);
    void Clear() { length = 0; }

   private:
    std::array<char, 2048> text{};
    std::size_t length = 0;
  };

  // One record as it is kept.
  struct Encoded {
    Block* block;
    std::string_view key;
    std::size_t shared;
    std::string_view rest;
  };

  static Block* NewBlock(std::size_t size);
  static void DeleteBlocks(Block* first);
  bool MakeRoom(std::size_t size, Memory& memory);
  bool FindOldest(std::uint64_t count, Encoded& found, Memory& memory);
  Encoded Oldest() const;
  void PassBy(const Encoded& record, Memory& memory);
  void Recycle(Block* first, const Block* next, Memory& memory);

  // Where records begin until there is one: it has room for the mark of its end.
  struct {
    Block block{nullptr, 1};
    char mark = 0;
  } noRecords;

  // The appending side.
  Block* lastBlock;
  char* end;  // of what is used of it
  LineBefore lastLine;
  std::uint64_t markersAppended = 0;
  std::atomic<std::uint64_t> appended{0};

  // The taking side. A cache line that one side writes with every record is not
  // to be read by the other with every record.
  alignas(cacheLine) Block* oldestBlock;
  const char* oldest;
  LineBefore lineBeforeOldest;
  std::uint64_t appendedSeen = 0;       // an earlier value of `appended`
  std::uint64_t markersTaken = 0;       // or dropped
  std::uint64_t markersDropped = 0;     // and not yet passed by
  std::atomic<std::uint64_t> begun{0};  // taken, and those of runs that still count as held
  std::atomic<std::uint64_t> taken{0};

  // One empty block on its way back to the appending side, or null.
  alignas(cacheLine) std::atomic<Block*> spareBlock{nullptr};
};

#endif  // ZIN_RECORD_FIFO_H
