#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "FakeClock.h"
#include "FakeIds.h"
#include "LineFormat.h"

namespace {

std::string Header(LogLevel level, const char* file, int line, const char* function,
                   const char* tag) {
  std::array<char, 2048> buffer{};
  const std::int64_t length =
      FormatLogHeader(buffer.data(), buffer.size(), 2046, level, file, line, function, tag);
  EXPECT_EQ(length, static_cast<std::int64_t>(std::string(buffer.data()).size()));
  return buffer.data();
}

TEST(FormatLogHeader, HoldsProcessTimeThreadLevelTagSourceAndFunction) {
  EXPECT_EQ(Header(INFO, "src/queue_unit", 110, "StopQueue", " "),
            "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [queue_unit:110] [StopQueue]: ");
}

}  // namespace
