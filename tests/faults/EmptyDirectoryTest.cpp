// The empty string is a directory that passes the check of a start. Nothing may
// reach the real root here: every call that would change it fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "CapturedStandardError.h"
#include "FailingCalls.h"
#include "FakeSleep.h"
#include "ZinLogger.h"

namespace {

using ::testing::Contains;
using ::testing::IsEmpty;

class EmptyDirectory : public ::testing::Test {
 protected:
  EmptyDirectory() {
    calls.UseNoAccount();
    for (const char* const call : {"open", "mkdir", "chmod", "remove", "renameat2"}) {
      calls.FailFrom(call, EACCES);
    }
  }

  const CapturedStandardError standardError;
  FailingCalls calls;
  ZinLogger& logger = *ZinLogger::GetInstance();
};

// A program that joins an empty setting and a name finds its files in the root.
TEST_F(EmptyDirectory, IsTheRootForALogFile) {
  ASSERT_TRUE(logger.StartSystem("zin-empty.log", "", 5, 10, INFO, 100, true));
  logger.Log("file.cpp", 1, "function", " ", "", INFO, "line");
  logger.Log("file.cpp", 1, "function", " ", "net", INFO, "line");
  logger.StopSystem();

  EXPECT_THAT(calls.Of({"open"}), Contains("open /zin-empty.log for writing 0640"));
  EXPECT_THAT(calls.Of({"open"}), Contains("open /net/zin-empty.log for writing 0640"));
}

TEST_F(EmptyDirectory, IsTheRootForAMetricsFile) {
  ASSERT_TRUE(logger.StartSystemForMetrics("zin-empty.log", "", 5, 10, 100, true));
  logger.Metrics("record");
  logger.StopMetricSystem();

  EXPECT_THAT(calls.Of({"open"}), Contains("open /zin-empty.log for writing 0640"));
}

TEST_F(EmptyDirectory, HoldsNoFilesForTheRetentionToRemove) {
  logger.LimitLogPathSize(0, 0);
  ASSERT_TRUE(logger.StartSystem("zin-empty.log", "", 5, 10, INFO, 100, true));
  ASSERT_TRUE(FakeSleep::WaitUntilEntered(1));
  logger.StopSystem();

  EXPECT_THAT(calls.Of({"opendir"}), Contains("opendir"));
  EXPECT_THAT(calls.Of({"remove"}), IsEmpty());
}

}  // namespace
