#include "RecordFifo.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr std::size_t blockSize = std::size_t{64} * 1024;

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

// A piece of memory; `size` bytes for records follow. The last record of a block
// that has a next one is followed by a zero, where the others begin with the
// length of their key plus one.
struct RecordFifo::Block {
  // Set before the first record of the next block is counted as appended, and
  // read after that.
  Block* next;
  std::size_t size;

  char* Begin() { return reinterpret_cast<char*>(this + 1); }
  char* End() { return Begin() + size; }
};

RecordFifo::Block* RecordFifo::NewBlock(std::size_t size) {
  return new (::operator new(sizeof(Block) + size)) Block{nullptr, size};
}

void RecordFifo::DeleteBlocks(Block* first) {
  while (first != nullptr) ::operator delete(std::exchange(first, first->next));
}

RecordFifo::RecordFifo() : lastBlock(NewBlock(blockSize)), end(lastBlock->Begin()) {
  oldest.block = lastBlock;
  oldest.next = end;
}

RecordFifo::~RecordFifo() {
  DeleteBlocks(oldest.block);
  DeleteBlocks(spareBlock.load());
}

void RecordFifo::Append(std::string_view key, std::string_view line) {
  const std::size_t shared = SharedLength(lastLine, line);
  const std::string_view rest = line.substr(shared);
  lastLine.reserve(line.size());
  MakeRoom(3 * longestLength + key.size() + rest.size());

  end = PutLength(end, key.size() + 1);
  end = PutLength(end, shared);
  end = PutLength(end, rest.size());
  end = PutText(end, key);
  end = PutText(end, rest);
  lastLine.resize(shared);
  lastLine.append(rest);
  // The place of the next record comes out of the other processor's cache while
  // the caller formats it.
  __builtin_prefetch(end + cacheLine, 1);
  __builtin_prefetch(end + 2 * cacheLine, 1);
  appended.store(appended.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

void RecordFifo::MakeRoom(std::size_t size) {
  // One byte is left for the mark of the block's end.
  if (static_cast<std::size_t>(lastBlock->End() - end) > size) return;

  Block* block = size < blockSize ? spareBlock.exchange(nullptr) : nullptr;
  if (block == nullptr) block = NewBlock(std::max(size + 1, blockSize));
  PutLength(end, 0);
  lastBlock->next = block;
  lastBlock = block;
  end = block->Begin();
}

bool RecordFifo::Take(LogRecord& record) {
  const std::uint64_t count = taken.load(std::memory_order_relaxed);
  if (count >= appendedSeen) {
    appendedSeen = AppendedCount();
    if (count == appendedSeen) return false;
  }
  Block* const firstBlock = oldest.block;
  Read(oldest, record);
  // The next record comes out of the other processor's cache while this one is
  // being written. One that is not there yet is left to the caller.
  if (count + 1 < appendedSeen) {
    __builtin_prefetch(oldest.next);
    __builtin_prefetch(oldest.next + cacheLine);
  }
  if (oldest.block != firstBlock) Recycle(firstBlock, oldest.block);
  taken.store(count + 1, std::memory_order_release);
  return true;
}

void RecordFifo::Read(Position& position, LogRecord& record) {
  Block* block = position.block;
  const char* next = position.next;
  std::size_t keyLength = GetLength(next);
  while (keyLength == 0) {
    block = block->next;
    next = block->Begin();
    keyLength = GetLength(next);
  }
  --keyLength;
  const std::size_t shared = GetLength(next);
  const std::size_t restLength = GetLength(next);
  const char* const rest = next + keyLength;

  record.first.assign(next, keyLength);
  record.second.reserve(shared + restLength);
  position.lineBefore.reserve(shared + restLength);

  position.lineBefore.resize(shared);
  position.lineBefore.append(rest, restLength);
  record.second = position.lineBefore;
  position.block = block;
  position.next = rest + restLength;
}

void RecordFifo::DropExitMarkers() {
  RecordFifo lines;
  LogRecord record;
  Position position = oldest;
  for (std::uint64_t left = AppendedCount() - TakenCount(); left > 0; --left) {
    Read(position, record);
    if (!record.second.empty()) lines.Append(record.first, record.second);
  }
  std::swap(lastBlock, lines.lastBlock);
  std::swap(end, lines.end);
  std::swap(lastLine, lines.lastLine);
  std::swap(oldest, lines.oldest);
  taken.store(AppendedCount() - lines.AppendedCount(), std::memory_order_release);
}

void RecordFifo::Clear() {
  lastBlock = oldest.block;
  end = lastBlock->Begin();
  lastLine.clear();
  oldest.next = end;
  oldest.lineBefore.clear();
  DeleteBlocks(std::exchange(oldest.block->next, nullptr));
  taken.store(AppendedCount(), std::memory_order_release);
}

// Keeps one block of the usual size for the appending side.
void RecordFifo::Recycle(Block* first, const Block* next) {
  while (first != next) {
    Block* const block = std::exchange(first, first->next);
    block->next = nullptr;
    DeleteBlocks(block->size == blockSize ? spareBlock.exchange(block) : block);
  }
}
