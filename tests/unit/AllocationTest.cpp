#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <new>

#include "CapturedStandardError.h"
#include "FifoSteps.h"
#include "LineFormat.h"
#include "LogCalls.h"
#include "RecordFifo.h"
#include "ZinLogger.h"
#include "ZinSysInfo.h"

namespace {

thread_local int allocations = 0;
thread_local std::size_t bytesInUse = 0;
thread_local int allocationsUntilFailure = std::numeric_limits<int>::max();

int AllocationsOf(const auto& steps) {
  const int before = allocations;
  steps();
  return allocations - before;
}

void* Allocate(std::size_t size) {
  ++allocations;
  if (--allocationsUntilFailure == 0) throw std::bad_alloc();
  void* const memory = std::malloc(size);
  if (memory == nullptr) std::abort();
  bytesInUse += malloc_usable_size(memory);
  return memory;
}

void Free(void* memory) {
  bytesInUse -= malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

// A program of its own, because these replace the operators of all of it.
void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void operator delete(void* memory) noexcept {
  Free(memory);
}
void operator delete[](void* memory) noexcept {
  Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  Free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  Free(memory);
}

namespace {

constexpr const char* message = "a message too long for the short form of a string";

ZinLogger& Logger() {
  return *ZinLogger::GetInstance();
}

TEST(Allocations, AreSeenByThisProgram) {
  EXPECT_EQ(AllocationsOf([] { const std::string copy = message; }), 1);
}

TEST(Allocations, DoNotHappenInAHeader) {
  (void)ZinSysInfo::GetCurrentProcessName();  // is built once
  std::array<char, 2048> buffer{};
  EXPECT_EQ(AllocationsOf([&] {
              (void)FormatLogHeader(buffer.data(), buffer.size(), 2046, INFO, "src/alpha_unit", 12,
                                    "Work", " ");
            }),
            0);
}

TEST(Allocations, DoNotHappenInAFilteredLogCall) {
  ZinLogger& logger = Logger();
  EXPECT_EQ(AllocationsOf(
                [&] { logger.Log("src/alpha_unit", 12, "Work", " ", "", DEBUG, "%s", message); }),
            0);
}

TEST(Allocations, DoNotHappenWhileALineIsFormatted) {
  ZinLogger& logger = Logger();
  (void)ZinSysInfo::GetCurrentProcessName();  // is built once
  // Header and message are formatted; being empty, the line is copied nowhere.
  EXPECT_EQ(
      AllocationsOf([&] { logger.Log("src/alpha_unit", 12, "Work", " ", "", INFO, "%s", ""); }), 0);
}

TEST(Allocations, HappenWhenALineIsCopiedForTheCache) {
  const CapturedStandardError standardError;
  EXPECT_GT(AllocationsOf([&] { LogUnchecked(INFO, "%s", message); }), 0);
}

TEST(Allocations, DoNotHappenInARecordUntilItIsQueued) {
  const CapturedStandardError standardError;
  ZinLogger& logger = Logger();
  EXPECT_EQ(AllocationsOf([&] { logger.Metrics("%s", message); }), 0);
}

// 160 bytes, of which the first 100 are those of every line.
std::string LineNumber(int i) {
  std::string number = std::to_string(1000000000 + i);
  return std::string(100, 'h') + number + std::string(60 - number.size() - 1, 'm') + "\n";
}

TEST(MemoryOfAQueue, IsLessThanHalfTheTextOfLinesThatBeginAlike) {
  constexpr int lineCount = 10000;
  const std::size_t before = bytesInUse;
  RecordFifo fifo;

  for (int i = 0; i < lineCount; ++i) Append(fifo, "", LineNumber(i));

  EXPECT_LT(bytesInUse - before, lineCount * 160u / 2);
}

TEST(MemoryOfAQueue, IsGivenBackButForTwoBlocksWhenItHasBeenEmptied) {
  constexpr std::size_t twoBlocksAndTwoLines = 2 * 64 * 1024 + 2 * 1024;
  const std::size_t before = bytesInUse;
  RecordFifo fifo;
  for (int i = 0; i < 10000; ++i) Append(fifo, "", LineNumber(i));

  for (LogRecord record; Take(fifo, record);) continue;

  EXPECT_LT(bytesInUse - before, twoBlocksAndTwoLines);
}

// Fails the first allocation of `step`, then the second, and so on, until the
// step succeeds. Returns how many failures there were.
int FailEachAllocationOf(const auto& step) {
  for (int failures = 0;; ++failures) {
    allocationsUntilFailure = failures + 1;
    try {
      step();
      allocationsUntilFailure = std::numeric_limits<int>::max();
      return failures;
    } catch (const std::bad_alloc&) {
      allocationsUntilFailure = std::numeric_limits<int>::max();
    }
  }
}

TEST(MemoryOfAQueue, ThatCannotBeHadLosesAndRepeatsNoRecord) {
  const std::string first(70000, 'a');
  const std::string second = first + std::string(70000, 'b');
  const std::string key(1000, 'k');
  RecordFifo fifo;
  LogRecord record;

  int failures = FailEachAllocationOf([&] { Append(fifo, key, first); });
  failures += FailEachAllocationOf([&] { Append(fifo, "", second); });
  failures += FailEachAllocationOf([&] { Append(fifo, "", ""); });
  fifo.DropExitMarkers();

  failures += FailEachAllocationOf([&] { EXPECT_TRUE(Take(fifo, record)); });
  EXPECT_EQ(record, LogRecord(key, first));
  record = {};
  record.second.shrink_to_fit();
  failures += FailEachAllocationOf([&] { EXPECT_TRUE(Take(fifo, record)); });
  EXPECT_EQ(record, LogRecord("", second));
  EXPECT_FALSE(Take(fifo, record));
  // A block for each append; key and line of the first take, line of the second.
  EXPECT_EQ(failures, 6);
}

}  // namespace
