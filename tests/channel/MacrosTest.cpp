#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "CapturedStandardError.h"
#include "JoiningThread.h"
#include "Scenario.h"
#include "Text.h"
#include "WaitUntilTrue.h"
#include "ZinLoggerMacros.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

namespace {

constexpr long longInterval = 1000L * 60 * 60 * 24;  // milliseconds; no test lasts so long

// The lines of this file, without what the library says about itself.
std::vector<std::string> LinesFromHere(const ScratchDir& dir, const std::string& name = "app.log") {
  std::vector<std::string> lines;
  if (!dir.Has(name)) return lines;
  for (const std::string& line : dir.LinesOf(name)) {
    if (line.find("[MacrosTest.cpp:") != std::string::npos) lines.push_back(line);
  }
  return lines;
}

// Runs the body in several threads at once.
template <typename Body>
void InThreads(int count, Body body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(body);
  for (std::thread& thread : threads) thread.join();
}

TEST(Macros, FillInLevelFileLineAndFunction) {
  const ScratchDir dir;
  StartLogChannel(dir, {.level = DEBUG});

  const int first = __LINE__ + 1;
  ZIN_FATAL("number %d", 0);
  ZIN_ERROR("number %d", 1);
  ZIN_WARN("number %d", 2);
  ZIN_INFO("number %d", 3);
  ZIN_DEBUG("number %d", 4);
  Logger().StopSystem();

  const std::vector<std::string> lines = LinesFromHere(dir);
  ASSERT_THAT(lines, SizeIs(5));
  const std::vector<std::string> levels = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG"};
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string line = std::to_string(first + static_cast<int>(i));
    EXPECT_THAT(lines[i], MatchesRegex(".*\\] \\[" + levels[i] + "\\] \\[MacrosTest\\.cpp:" + line +
                                       "\\] \\[TestBody\\]: number " + std::to_string(i)));
  }
}

// What came of each form of one level.
struct Forms {
  std::vector<std::string> lines;     // of the channel's own file
  std::vector<std::string> keyLines;  // of that of the sub-directory
};

// Each says another word, so that none can stand in for another.
#define LOG_ALL_FORMS_OF(LEVEL)                                \
  ZIN_##LEVEL("plain %d", 1);                                  \
  ZIN_##LEVEL##_TO("key", "to %d", 2);                         \
  ZIN_##LEVEL##_TAG(" tag ", "tag %d", 3);                     \
  for (int i = 0; i < 2; ++i) {                                \
    ZIN_##LEVEL##_IF(i == 1, "if %d", i);                      \
    ZIN_##LEVEL##_EVERY_MS(longInterval, "interval %d", i);    \
  }                                                            \
  for (int i = 0; i < 5; ++i) {                                \
    ZIN_##LEVEL##_EVERY_N(2, "every second %d", i);            \
    if (i < 3) ZIN_##LEVEL##_EVERY_MS(0, "no interval %d", i); \
  }

template <typename LogAll>
Forms FormsOf(LogAll logAll) {
  const ScratchDir dir;
  StartLogChannel(dir, {.level = DEBUG});
  logAll();
  Logger().StopSystem();
  return {LinesFromHere(dir), LinesFromHere(dir, "key/app.log")};
}

void ExpectAllForms(const Forms& forms, const std::string& level) {
  EXPECT_THAT(
      MessagesOf(forms.lines),
      ElementsAre("plain 1", "tag 3", "interval 0", "if 1", "every second 0", "no interval 0",
                  "no interval 1", "every second 2", "no interval 2", "every second 4"))
      << level;
  EXPECT_THAT(MessagesOf(forms.keyLines), ElementsAre("to 2")) << level;
  for (const std::string& line : forms.lines) {
    const std::string tag = MessageOf(line) == "tag 3" ? " tag " : " ";
    EXPECT_THAT(line, HasSubstr("] [" + level + "]" + tag + "[MacrosTest.cpp:"));
  }
  for (const std::string& line : forms.keyLines) {
    EXPECT_THAT(line, HasSubstr("] [" + level + "] [MacrosTest.cpp:"));
  }
}

TEST(Macros, OfEveryLevelHaveAllForms) {
  ExpectAllForms(FormsOf([] { LOG_ALL_FORMS_OF(FATAL) }), "FATAL");
  ExpectAllForms(FormsOf([] { LOG_ALL_FORMS_OF(ERROR) }), "ERROR");
  ExpectAllForms(FormsOf([] { LOG_ALL_FORMS_OF(WARN) }), "WARN");
  ExpectAllForms(FormsOf([] { LOG_ALL_FORMS_OF(INFO) }), "INFO");
  ExpectAllForms(FormsOf([] { LOG_ALL_FORMS_OF(DEBUG) }), "DEBUG");
}

TEST(Macros, WriteToASubDirectoryAndWithATag) {
  const ScratchDir dir;
  StartLogChannel(dir);

  ZIN_WARN_TO("net", "to net %d", 1);
  ZIN_WARN_TAG(" <db> ", "tagged %d", 2);
  Logger().StopSystem();

  EXPECT_THAT(MessagesOf(LinesFromHere(dir, "net/app.log")), ElementsAre("to net 1"));
  EXPECT_THAT(LinesFromHere(dir), ElementsAre(MatchesRegex(".* \\[WARN\\] <db> \\[MacrosTest.*2")));
}

TEST(Macros, LogWhenTheConditionHoldsAndElseLeaveTheArgumentsAlone) {
  const ScratchDir dir;
  StartLogChannel(dir);
  int conditions = 0;
  int arguments = 0;

  ZIN_INFO_IF(++conditions > 0, "yes %d", ++arguments);
  ZIN_INFO_IF(++conditions > 2, "no %d", ++arguments);
  Logger().StopSystem();

  EXPECT_THAT(MessagesOf(LinesFromHere(dir)), ElementsAre("yes 1"));
  EXPECT_EQ(conditions, 2);
  EXPECT_EQ(arguments, 1);
}

TEST(Macros, LeaveEverythingAloneBelowTheThreshold) {
  const ScratchDir dir;
  StartLogChannel(dir);
  int evaluated = 0;
  const auto count = [&] { return ++evaluated; };
  const auto name = [&] { return ++evaluated, ""; };

  ZIN_DEBUG("below %d", count());
  ZIN_DEBUG_TO(name(), "below %d", count());
  ZIN_DEBUG_TAG(name(), "below %d", count());
  ZIN_DEBUG_IF(count() > 0, "below %d", count());
  ZIN_DEBUG_EVERY_N(static_cast<unsigned long>(count()), "below %d", count());
  ZIN_DEBUG_EVERY_MS(count(), "below %d", count());
  ZIN_LOG(static_cast<LogLevel>(5), name(), name(), "below %d", count());
  Logger().StopSystem();

  EXPECT_THAT(LinesFromHere(dir), IsEmpty());
  EXPECT_EQ(evaluated, 0);
}

TEST(Macros, EvaluateALevelOnce) {
  const ScratchDir dir;
  StartLogChannel(dir);
  int levels = 0;
  const auto info = [&] { return ++levels, INFO; };

  ZIN_LOG(info(), " ", "", "one");
  ZIN_LOG_IF(info(), true, "two");
  ZIN_LOG_EVERY_N(info(), 1, "three");
  ZIN_LOG_EVERY_MS(info(), longInterval, "four");
  Logger().StopSystem();

  EXPECT_THAT(LinesFromHere(dir), SizeIs(4));
  EXPECT_EQ(levels, 4);
}

TEST(Macros, FollowTheThresholdAtOnce) {
  const ScratchDir dir;
  const auto areOn = [] {
    std::string text;
    for (int level = -1; level <= 5; ++level) {
      text += ZIN_IS_ON(static_cast<LogLevel>(level)) ? '1' : '0';
    }
    return text;
  };
  EXPECT_EQ(areOn(), "1111100") << "INFO, before anything is started";

  StartLogChannel(dir, {.level = WARN});
  EXPECT_EQ(areOn(), "1111000");
  ZIN_INFO("below");
  Logger().SetLogLevel(DEBUG);
  EXPECT_EQ(areOn(), "1111110");
  ZIN_DEBUG("passes");
  Logger().SetLogLevel(static_cast<LogLevel>(-1));
  EXPECT_EQ(areOn(), "1000000");
  ZIN_FATAL("below, too");
  EXPECT_FALSE(Logger().StartSystem("no-suffix", dir.Path().c_str(), 1, 1, ERROR, 10, true));
  EXPECT_EQ(areOn(), "1110000") << "a refused start leaves its level";
  ZIN_ERROR("passes as well");
  Logger().StopSystem();
  EXPECT_EQ(areOn(), "1110000");

  EXPECT_THAT(MessagesOf(LinesFromHere(dir)), ElementsAre("passes", "passes as well"));
}

TEST(Macros, CountOnlyTheCallsAboveTheThreshold) {
  const ScratchDir dir;
  StartLogChannel(dir);

  for (int i = 0; i < 6; ++i) {
    Logger().SetLogLevel(i < 2 ? INFO : DEBUG);
    ZIN_DEBUG_EVERY_N(3, "third %d", i);
    ZIN_DEBUG_EVERY_MS(longInterval, "first %d", i);
  }
  Logger().StopSystem();

  EXPECT_THAT(MessagesOf(LinesFromHere(dir)), ElementsAre("third 2", "first 2", "third 5"));
}

TEST(Macros, FollowTheThresholdFromOtherThreads) {
  std::atomic<bool> isOver = false;
  JoiningThread other([&] {
    while (!isOver) ZIN_LOG_IF(DEBUG, false, "never");
  });
  for (int i = 0; i < 1000; ++i) Logger().SetLogLevel(i % 2 == 0 ? DEBUG : INFO);
  isOver = true;
}

TEST(Macros, LogEveryNthCallOfEachPlace) {
  const ScratchDir dir;
  StartLogChannel(dir);

  for (int i = 0; i < 7; ++i) {
    ZIN_INFO_EVERY_N(3, "third %d", i);
    ZIN_INFO_EVERY_N(5, "fifth %d", i);
    ZIN_INFO_EVERY_N(0, "never %d", i);
  }
  Logger().StopSystem();

  EXPECT_THAT(MessagesOf(LinesFromHere(dir)),
              ElementsAre("third 0", "fifth 0", "third 3", "fifth 5", "third 6"));
}

TEST(Macros, CountTheCallsOfAllThreads) {
  const ScratchDir dir;
  StartLogChannel(dir);

  InThreads(4, [] {
    for (int i = 0; i < 1000; ++i) ZIN_INFO_EVERY_N(100, "hundredth");
  });
  Logger().StopSystem();

  EXPECT_THAT(LinesFromHere(dir), SizeIs(40));
}

// Fewer calls in each thread than it takes: only all together make a line more.
TEST(Macros, CountTheCallsOfAllThreadsTogether) {
  const ScratchDir dir;
  StartLogChannel(dir);

  InThreads(10, [] {
    for (int i = 0; i < 10; ++i) ZIN_INFO_EVERY_N(50, "fiftieth");
  });
  Logger().StopSystem();

  // The first and the fifty-first of a hundred.
  EXPECT_THAT(LinesFromHere(dir), SizeIs(2));
}

TEST(Macros, CountMoreCallsThan16BitsDo) {
  const ScratchDir dir;
  StartLogChannel(dir);

  for (int i = 0; i < 70000; ++i) ZIN_INFO_EVERY_N(30000, "%d", i);
  Logger().StopSystem();

  EXPECT_THAT(MessagesOf(LinesFromHere(dir)), ElementsAre("0", "30000", "60000"));
}

TEST(ZinEveryNth, TakesNumbersOfAnySize) {
  ZinEveryNth largest;
  EXPECT_TRUE(largest.IsDue(std::numeric_limits<unsigned long>::max()));
  EXPECT_FALSE(largest.IsDue(std::numeric_limits<unsigned long>::max()));
  ZinEveryNth highestBit;  // what is left of it in fewer bits is zero
  constexpr unsigned long half = std::numeric_limits<unsigned long>::max() / 2 + 1;
  EXPECT_TRUE(highestBit.IsDue(half));
  EXPECT_FALSE(highestBit.IsDue(half));
}

TEST(ZinEveryNth, GoesByTheNumberOfTheCallThatAsks) {
  ZinEveryNth calls;
  EXPECT_TRUE(calls.IsDue(3));   // the first
  EXPECT_FALSE(calls.IsDue(3));  // the second
  EXPECT_TRUE(calls.IsDue(2));   // the third: two after the first
  EXPECT_FALSE(calls.IsDue(0));  // does not count
  EXPECT_TRUE(calls.IsDue(3));   // the fourth: three after the first
}

// Without braces, before an else: each macro is one statement.
TEST(Macros, LeaveAnElseToTheIfBeforeThem) {
  const ScratchDir dir;
  StartLogChannel(dir);
  bool elseRan = false;

  if (dir.Path().empty())
    ZIN_INFO_IF(true, "of an if that does not hold");
  else
    elseRan = true;
  EXPECT_TRUE(elseRan);

  elseRan = false;
  if (!dir.Path().empty())
    ZIN_INFO_IF(dir.Path().empty(), "no line");
  else
    elseRan = true;
  EXPECT_FALSE(elseRan);

  for (int i = 0; i < 3; ++i) {
    if (i < 2)
      ZIN_INFO_EVERY_N(2, "every second %d", i);
    else
      ZIN_INFO_EVERY_MS(longInterval, "else %d", i);
  }
  Logger().StopSystem();

  EXPECT_THAT(MessagesOf(LinesFromHere(dir)), ElementsAre("every second 0", "else 2"));
}

// A condition, a number and an interval may be expressions of any kind.
TEST(Macros, TakeTheirArgumentsAsAWhole) {
  const ScratchDir dir;
  StartLogChannel(dir);
  const bool yes = true;
  const bool no = false;
  int evaluated = 0;

  ZIN_INFO_IF(no || yes, "or");
  for (int i = 0; i < 3; ++i) {
    ZIN_INFO_EVERY_N((++evaluated, yes ? 2 : 1), "number %d", i);
    ZIN_INFO_EVERY_MS((++evaluated, no ? 0 : longInterval), "interval %d", i);
  }
  ZIN_LOG(no ? DEBUG : WARN, yes ? " a " : " b ", yes ? "key" : "", "%s", yes ? "all" : "none");
  Logger().StopSystem();

  EXPECT_EQ(evaluated, 6);
  EXPECT_THAT(MessagesOf(LinesFromHere(dir)),
              ElementsAre("or", "number 0", "interval 0", "number 2"));
  EXPECT_THAT(LinesFromHere(dir, "key/app.log"),
              ElementsAre(MatchesRegex(".*\\[WARN\\] a .*: all")));
}

TEST(Macros, LogOncePerIntervalFromAllThreads) {
  const ScratchDir dir;
  StartLogChannel(dir);

  InThreads(4, [] {
    for (int i = 0; i < 1000; ++i) ZIN_INFO_EVERY_MS(longInterval, "once");
  });
  for (int i = 0; i < 3; ++i) ZIN_INFO_EVERY_MS(0, "no interval");
  Logger().StopSystem();

  EXPECT_THAT(MessagesOf(LinesFromHere(dir)),
              ElementsAre("once", "no interval", "no interval", "no interval"));
}

TEST(Macros, LogAgainWhenTheIntervalHasPassed) {
  const ScratchDir dir;
  StartLogChannel(dir);
  int logged = 0;

  EXPECT_TRUE(WaitUntilTrue([&] {
    ZIN_INFO_EVERY_MS(5, "%d", ++logged);
    return logged == 3;
  }));
  Logger().StopSystem();

  EXPECT_THAT(MessagesOf(LinesFromHere(dir)), ElementsAre("1", "2", "3"));
}

TEST(ZinOncePerInterval, TakesIntervalsOfAnyLength) {
  ZinOncePerInterval forever;
  EXPECT_TRUE(forever.IsDue(std::numeric_limits<std::int64_t>::max()));
  EXPECT_FALSE(forever.IsDue(1));
  ZinOncePerInterval negative;
  EXPECT_TRUE(negative.IsDue(-1));
  EXPECT_TRUE(negative.IsDue(-1));
}

TEST(Macros, WriteMetrics) {
  const ScratchDir dir;
  StartMetricsChannel(dir.Path());

  ZIN_METRICS("requests=%d", 7);
  Logger().StopMetricSystem();

  EXPECT_EQ(dir.Read("metrics.log"), "requests=7\n");
}

TEST(ZinStopAtScopeEnd, StopsBothChannelsHoweverTheScopeIsLeft) {
  const ScratchDir dir;

  try {
    const ZinStopAtScopeEnd stop;
    StartLogChannel(dir);
    StartMetricsChannel(dir / "metrics");
    ZIN_METRICS("record");
    for (int i = 0; i < 1000; ++i) ZIN_INFO("line");
    throw std::runtime_error("an early end");
  } catch (const std::runtime_error&) {
  }

  const CapturedStandardError standardError;
  ZIN_INFO("the log is stopped");
  ZIN_METRICS("the metrics are stopped");
  EXPECT_THAT(MessagesOf(SplitLines(standardError.Text())),
              ElementsAre("the log is stopped", "the metrics are stopped"));
  EXPECT_THAT(MessagesOf(LinesFromHere(dir)), SizeIs(1000));
  EXPECT_EQ(dir.Read("metrics/metrics.log"), "record\n");
  // The metrics went first, so their farewell is in the log.
  std::vector<std::string> farewells = MessagesOf(dir.LinesOf("app.log"));
  std::erase_if(farewells, [](const std::string& text) { return !text.starts_with("@@@@"); });
  EXPECT_THAT(farewells, ElementsAre("@@@@ METRICS EXIT @@@@", "@@@@ LOG EXIT @@@@"));
}

}  // namespace
