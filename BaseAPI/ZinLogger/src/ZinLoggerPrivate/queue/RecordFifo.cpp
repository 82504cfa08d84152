#include "RecordFifo.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr std::size_t usualBlockSize = std::size_t{64} * 1024;

// Lengths are stored seven bits to a byte, low bits first; the high bit tells
// that more follow.
constexpr unsigned bitsPerByte = 7;
constexpr unsigned char moreFollow = 0x80;
constexpr std::size_t longestLength =
    (std::numeric_limits<std::size_t>::digits + bitsPerByte - 1) / bitsPerByte;

char* PutLength(char* to, std::size_t length) {
  for (; length >= moreFollow; length >>= bitsPerByte) {
    *to++ = static_cast<char>(length | moreFollow);
  }
  *to++ = static_cast<char>(length);
  return to;
}

std::size_t GetLength(const char*& from) {
  std::size_t length = 0;
  for (unsigned shift = 0;; shift += bitsPerByte) {
    const auto byte = static_cast<unsigned char>(*from++);
    length |= static_cast<std::size_t>(byte & (moreFollow - 1u)) << shift;
    if (byte < moreFollow) return length;
  }
}

char* PutText(char* to, std::string_view text) {
  return to + text.copy(to, text.size());
}

// Compares eight bytes at a time.
std::size_t SharedLength(std::string_view a, std::string_view b) {
  const std::size_t most = std::min(a.size(), b.size());
  std::size_t shared = 0;
  for (std::uint64_t left = 0, right = 0; shared + sizeof left <= most; shared += sizeof left) {
    std::memcpy(&left, a.data() + shared, sizeof left);
    std::memcpy(&right, b.data() + shared, sizeof right);
    const std::uint64_t difference = left ^ right;
    if (difference == 0) continue;
    const int equalBits = std::endian::native == std::endian::little ? std::countr_zero(difference)
                                                                     : std::countl_zero(difference);
    return shared + static_cast<std::size_t>(equalBits) / 8;
  }
  while (shared < most && a[shared] == b[shared]) ++shared;
  return shared;
}

}  // namespace

// The last record of a block that has a next one is followed by a zero, where
// the others begin with the length of their key plus one.
RecordFifo::Block* RecordFifo::NewBlock(std::size_t size) {
  return new (::operator new(sizeof(Block) + size)) Block{nullptr, size};
}

void RecordFifo::DeleteBlocks(Block* first) {
  while (first != nullptr) ::operator delete(std::exchange(first, first->next));
}

RecordFifo::Memory::~Memory() {
  DeleteBlocks(provided);
  DeleteBlocks(discarded);
}

void RecordFifo::Memory::Provide() {
  DeleteBlocks(std::exchange(provided, nullptr));
  provided = NewBlock(blockSize);
}

void RecordFifo::Memory::Provide(LogRecord& record) const {
  record.first.reserve(keyLength);
  record.second.reserve(lineLength);
}

void RecordFifo::LineBefore::BecomeNext(std::size_t shared, std::string_view rest) {
  length = shared + rest.copy(text.data() + shared, text.size() - shared);
}

RecordFifo::RecordFifo()
    : lastBlock(&noRecords.block),
      end(lastBlock->Begin()),
      oldestBlock(lastBlock),
      oldest(lastBlock->Begin()) {}

RecordFifo::~RecordFifo() {
  Memory memory;
  Clear(memory);
  Recycle(oldestBlock, nullptr, memory);
  DeleteBlocks(spareBlock.load());
}

bool RecordFifo::Append(std::string_view key, std::string_view line, Memory& memory) {
  const std::size_t shared = SharedLength(lastLine.Text(), line);
  const std::string_view rest = line.substr(shared);
  if (!MakeRoom(3 * longestLength + key.size() + rest.size(), memory)) return false;

  end = PutLength(end, key.size() + 1);
  end = PutLength(end, shared);
  end = PutLength(end, rest.size());
  end = PutText(end, key);
  end = PutText(end, rest);
  lastLine.BecomeNext(shared, rest);
  if (line.empty()) ++markersAppended;
  // The place of the next record comes out of the other processor's cache while
  // the caller formats it.
  __builtin_prefetch(end + cacheLine, 1);
  __builtin_prefetch(end + 2 * cacheLine, 1);
  appended.store(appended.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  return true;
}

bool RecordFifo::MakeRoom(std::size_t size, Memory& memory) {
  // One byte is left for the mark of the block's end.
  if (static_cast<std::size_t>(lastBlock->End() - end) > size) return true;

  Block* block = nullptr;
  if (memory.provided != nullptr && memory.provided->size > size) {
    block = std::exchange(memory.provided, nullptr);
  } else if (size < usualBlockSize) {
    block = spareBlock.exchange(nullptr);
  }
  if (block == nullptr) {
    memory.blockSize = std::max(size + 1, usualBlockSize);
    return false;
  }
  PutLength(end, 0);
  lastBlock->next = block;
  lastBlock = block;
  end = block->Begin();
  return true;
}

RecordFifo::TakeResult RecordFifo::Take(LogRecord& record, Memory& memory) {
  const std::uint64_t count = begun.load(std::memory_order_relaxed);
  Encoded next;
  if (!FindOldest(count, next, memory)) return TakeResult::Empty;
  const std::size_t lineLength = next.shared + next.rest.size();
  if (record.first.capacity() < next.key.size() || record.second.capacity() < lineLength) {
    memory.keyLength = next.key.size();
    memory.lineLength = lineLength;
    return TakeResult::LacksRoom;
  }
  record.first.assign(next.key);
  record.second.assign(lineBeforeOldest.Text().substr(0, next.shared)).append(next.rest);
  if (lineLength == 0) ++markersTaken;
  PassBy(next, memory);
  // The next record comes out of the other processor's cache while this one is
  // being written. One that is not there yet is left to the caller.
  if (count + 1 < appendedSeen) {
    __builtin_prefetch(oldest);
    __builtin_prefetch(oldest + cacheLine);
  }
  begun.store(count + 1, std::memory_order_release);
  CountTaken(1);
  return TakeResult::Taken;
}

void RecordFifo::TakeAlong(LineRun& run, std::uint64_t mostBytes, Memory& memory) {
  std::uint64_t count = begun.load(std::memory_order_relaxed);
  for (Encoded next; run.Text().size() <= mostBytes && FindOldest(count, next, memory); ++count) {
    const std::size_t lineLength = next.shared + next.rest.size();
    if (lineLength == 0 || next.key != run.Key() || !run.HasRoomFor(lineLength)) break;
    run.Add(lineBeforeOldest.Text().substr(0, next.shared), next.rest);
    PassBy(next, memory);
  }
  begun.store(count, std::memory_order_release);
}

void RecordFifo::CountTaken(std::uint64_t count) {
  taken.store(taken.load(std::memory_order_relaxed) + count, std::memory_order_release);
}

void RecordFifo::CountAllBegunAsTaken() {
  taken.store(begun.load(std::memory_order_relaxed), std::memory_order_release);
}

// False: there is none beyond the `count` that were begun. Passes over exit markers
// that were dropped.
bool RecordFifo::FindOldest(std::uint64_t count, Encoded& found, Memory& memory) {
  if (count >= appendedSeen) {
    appendedSeen = AppendedCount();
    if (count == appendedSeen) return false;
  }
  found = Oldest();
  while (markersDropped > 0 && found.shared + found.rest.size() == 0) {
    --markersDropped;
    PassBy(found, memory);
    found = Oldest();
  }
  return true;
}

RecordFifo::Encoded RecordFifo::Oldest() const {
  Block* block = oldestBlock;
  const char* next = oldest;
  std::size_t keyLength = GetLength(next);
  while (keyLength == 0) {
    block = block->next;
    next = block->Begin();
    keyLength = GetLength(next);
  }
  --keyLength;
  const std::size_t shared = GetLength(next);
  const std::size_t restLength = GetLength(next);
  return {block, {next, keyLength}, shared, {next + keyLength, restLength}};
}

void RecordFifo::PassBy(const Encoded& record, Memory& memory) {
  lineBeforeOldest.BecomeNext(record.shared, record.rest);
  oldest = record.rest.data() + record.rest.size();
  if (record.block != oldestBlock) {
    Recycle(std::exchange(oldestBlock, record.block), record.block, memory);
  }
}

void RecordFifo::DropExitMarkers() {
  const std::uint64_t waiting = markersAppended - markersTaken;
  markersTaken += waiting;
  markersDropped += waiting;
  begun.store(begun.load(std::memory_order_relaxed) + waiting, std::memory_order_release);
  CountTaken(waiting);
}

void RecordFifo::Clear(Memory& memory) {
  if (oldestBlock != lastBlock) Recycle(std::exchange(oldestBlock, lastBlock), lastBlock, memory);
  end = lastBlock->Begin();
  oldest = end;
  lastLine.Clear();
  lineBeforeOldest.Clear();
  markersTaken = markersAppended;
  markersDropped = 0;
  begun.store(AppendedCount(), std::memory_order_release);
  CountAllBegunAsTaken();
}

// Keeps one block of the usual size for the appending side.
void RecordFifo::Recycle(Block* first, const Block* next, Memory& memory) {
  while (first != next) {
    Block* block = std::exchange(first, first->next);
    if (block == &noRecords.block) continue;
    block->next = nullptr;
    if (block->size == usualBlockSize) block = spareBlock.exchange(block);
    if (block != nullptr) block->next = std::exchange(memory.discarded, block);
  }
}
