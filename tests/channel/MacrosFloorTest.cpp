// What a program built with -DZIN_LEVEL_FLOOR=3 does.
#define ZIN_LEVEL_FLOOR 3

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Scenario.h"
#include "Text.h"
#include "ZinLoggerMacros.h"

namespace {

TEST(MacrosFloor, TakesOutWhatIsAboveItWhateverTheThreshold) {
  const ScratchDir dir;
  StartLogChannel(dir, {.level = DEBUG});
  int evaluated = 0;

  ZIN_DEBUG("out %d", ++evaluated);
  ZIN_DEBUG_EVERY_N(1, "out %d", ++evaluated);
  ZIN_INFO("in %d", ++evaluated);
  ZIN_LOG(static_cast<LogLevel>(3), " ", "", "in, too %d", ++evaluated);
  Logger().StopSystem();

  EXPECT_FALSE(ZIN_IS_ON(DEBUG));
  EXPECT_TRUE(ZIN_IS_ON(INFO));
  EXPECT_EQ(evaluated, 2);
  std::string text = dir.Read("app.log");
  EXPECT_EQ(text.find("out"), std::string::npos);
  EXPECT_NE(text.find("in 1\n"), std::string::npos);
  EXPECT_NE(text.find("in, too 2\n"), std::string::npos);
}

TEST(MacrosFloor, DoesNotRaiseTheThreshold) {
  Logger().SetLogLevel(ERROR);

  EXPECT_FALSE(ZIN_IS_ON(INFO));
}

}  // namespace
