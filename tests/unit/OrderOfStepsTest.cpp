#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <streambuf>
#include <string>

#include "FacadeState.h"
#include "FakeSleep.h"
#include "LogCalls.h"
#include "ScratchDir.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

// What has happened, and what has not yet, by the time a line reaches standard
// error.

namespace {

// Runs an action for every text written to std::cerr, instead of writing it.
class WatchedStandardError : public std::streambuf {
 public:
  using Action = std::function<void(const std::string& text)>;

  explicit WatchedStandardError(Action actionForEach)
      : action(std::move(actionForEach)), former(std::cerr.rdbuf(this)) {}
  ~WatchedStandardError() override { std::cerr.rdbuf(former); }
  WatchedStandardError(const WatchedStandardError&) = delete;
  WatchedStandardError& operator=(const WatchedStandardError&) = delete;

 protected:
  int_type overflow(int_type character) override {
    action(std::string(1, traits_type::to_char_type(character)));
    return traits_type::not_eof(character);
  }
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    action(std::string(text, static_cast<std::size_t>(size)));
    return size;
  }

 private:
  Action action;
  std::streambuf* former;
};

TEST(Log, HandsALineOverBeforeItEntersTheCache) {
  std::string written;
  std::string cachedByThen = "nothing was written";
  {
    const WatchedStandardError watched([&](const std::string& text) {
      written += text;
      cachedByThen = ZinGetCacheLog(10);
    });
    LogText(INFO, "hello");
  }
  EXPECT_EQ(written, infoHeader + "hello\n");
  EXPECT_EQ(cachedByThen, "");
  EXPECT_EQ(TakeCachedLines(), infoHeader + "hello\n");
}

TEST(Metrics, CountsARecordBeforeItHandsItOver) {
  int countByThen = -1;
  {
    const WatchedStandardError watched([&](const std::string&) {
      if (countByThen < 0) countByThen = ZinLogger::GetInstance()->GetMetricsCount();
    });
    ZinLogger::GetInstance()->Metrics("a=1");
  }
  EXPECT_EQ(countByThen, 1);
}

// Starts the metrics channel and looks at the flags while `stop` says that it
// stops.
void ExpectClearedFlagsWhile(const std::function<void()>& stop) {
  const ScratchDir dir;
  ZinLoggerPrivate& state = FacadeState();
  state.metricsRunning = true;
  state.LoopWorkingForMetrics(5, 1, 10, "metrics.log", dir.Path());
  // The retention thread has read its flag by then.
  ASSERT_TRUE(FakeSleep::WaitUntilEntered(1));
  int lines = 0;
  {
    const WatchedStandardError watched([&](const std::string&) {
      ++lines;
      EXPECT_FALSE(state.logRunning);
      EXPECT_FALSE(state.metricsRunning);
      EXPECT_TRUE(state.metricsQueue.IsRunning());
    });
    stop();
  }
  EXPECT_EQ(lines, 1);
}

TEST(StopQueue, ClearsBothFlagsBeforeItSaysThatAChannelStops) {
  FacadeState().logRunning = true;
  ExpectClearedFlagsWhile([] { FacadeState().StopQueue(); });
}

TEST(StopMetricsQueue, ClearsItsFlagBeforeItSaysThatTheChannelStops) {
  ExpectClearedFlagsWhile([] { FacadeState().StopMetricsQueue(); });
}

}  // namespace
