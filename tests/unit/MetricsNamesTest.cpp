#include <gtest/gtest.h>

#include "FakeIds.h"
#include "MetricsNames.h"

namespace {

TEST(MetricsNames, HoldTheProcessIdOrNot) {
  EXPECT_EQ(MetricsLogNameWithPid, "metrics_4711.log");
  EXPECT_EQ(MetricsLogName, "metrics.log");
}

TEST(MetricsNames, KeepTheProcessIdOfTheLoadTime) {
  FakeIds::SetProcessId(4712);  // as in a child of fork
  EXPECT_EQ(MetricsLogNameWithPid, "metrics_4711.log");
}

}  // namespace
