#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <new>

#include "CapturedStandardError.h"
#include "LineFormat.h"
#include "LogCalls.h"
#include "ZinLogger.h"
#include "ZinSysInfo.h"

namespace {

thread_local int allocations = 0;

int AllocationsOf(const auto& steps) {
  const int before = allocations;
  steps();
  return allocations - before;
}

void* Allocate(std::size_t size) {
  ++allocations;
  void* const memory = std::malloc(size);
  if (memory == nullptr) std::abort();
  return memory;
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
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
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

}  // namespace
