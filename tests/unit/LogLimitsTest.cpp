#include <gtest/gtest.h>

#include "CapturedStandardError.h"
#include "FacadeState.h"
#include "LogCalls.h"
#include "OpenQueue.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

namespace {

constexpr std::size_t longestText = 2046;  // header and message, in bytes

const std::string headerBeforeFunction =
    "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [alpha_unit:12] [";

// The name of a function that makes the header that long.
std::string FunctionFor(std::size_t headerLength) {
  const std::size_t others = headerBeforeFunction.size() + std::string("]: ").size();
  return std::string(headerLength - others, 'f');
}

// Standard error after one call from a function of that name.
std::string Logged(const std::string& function, const std::string& message) {
  const CapturedStandardError standardError;
  ZinLogger::GetInstance()->Log("src/alpha_unit", 12, function.c_str(), " ", "", INFO, "%s",
                                message.c_str());
  return standardError.Text();
}

// A message that fills the line, and `more` bytes.
std::string Filling(std::size_t more = 0) {
  return std::string(longestText - infoHeader.size() + more, 'x');
}

TEST(LogLimits, AMessageThatJustFitsKeepsItsNewline) {
  const std::string line = Logged("Work", Filling());
  EXPECT_EQ(line, infoHeader + Filling() + "\n");
  EXPECT_EQ(line.size(), 2047U);
}

TEST(LogLimits, AMessageOneByteLongerIsCutAndHasNoNewline) {
  const std::string line = Logged("Work", Filling(1));
  EXPECT_EQ(line, infoHeader + Filling());
  EXPECT_EQ(line.size(), 2046U);
}

TEST(LogLimits, AVeryLongMessageIsCutAtTheSamePlace) {
  EXPECT_EQ(Logged("Work", Filling(100000)), infoHeader + Filling());
}

TEST(LogLimits, ANewlineOfTheMessageItselfMayBeTheLastByteThatFits) {
  std::string message = Filling();
  message.back() = '\n';
  const std::string line = Logged("Work", message);
  EXPECT_EQ(line, infoHeader + message);
  EXPECT_EQ(line.size(), 2046U);
}

TEST(LogLimits, ACutLineIsQueuedAndCachedAsItIsPrinted) {
  OpenQueue queue(FacadeState().logQueue);
  LogText(INFO, Filling(1));
  EXPECT_EQ(queue.Take().second, infoHeader + Filling());
  EXPECT_EQ(TakeCachedLines(), infoHeader + Filling());
}

TEST(LogLimits, AHeaderMayLeaveRoomForOneByte) {
  const std::string function = FunctionFor(2045);
  EXPECT_EQ(Logged(function, "x"), headerBeforeFunction + function + "]: x\n");
  EXPECT_EQ(Logged(function, "xy"), headerBeforeFunction + function + "]: x");
}

TEST(LogLimits, AHeaderThatFillsTheLineLeavesNoRoomForMessageAndNewline) {
  const std::string function = FunctionFor(2046);
  const std::string line = Logged(function, "x");
  EXPECT_EQ(line, headerBeforeFunction + function + "]: ");
  EXPECT_EQ(line.size(), 2046U);
}

TEST(LogLimits, AHeaderThatFillsTheLineIsNotPrintedForAnEmptyMessage) {
  EXPECT_EQ(Logged(FunctionFor(2046), ""), "");
  EXPECT_EQ(TakeCachedLines(), "");
}

TEST(LogLimits, AHeaderOneByteTooLongIsCutAndIsTheLine) {
  const std::string function = FunctionFor(2047);
  const std::string line = Logged(function, "message");
  EXPECT_EQ(line, headerBeforeFunction + function + "]:");
  EXPECT_EQ(line.size(), 2046U);
}

TEST(LogLimits, AHeaderFarTooLongIsCutAndIsTheLine) {
  const std::string function = FunctionFor(10000);
  const std::string line = Logged(function, "message");
  EXPECT_EQ(line, (headerBeforeFunction + function).substr(0, 2046));
  EXPECT_EQ(TakeCachedLines(), line);
}

}  // namespace
