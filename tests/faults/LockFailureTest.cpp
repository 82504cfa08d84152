#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <functional>
#include <system_error>

#include "BlockingQueue.h"
#include "RecentLogCache.h"
#include "ZinLogger.h"

// Mutexes that cannot be locked: who finds out, and how.

namespace {

// The error of every lock that this thread asks for; 0: it gets them.
thread_local int lockError = 0;

}  // namespace

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  return lockError != 0 ? lockError : __real_pthread_mutex_lock(mutex);
}

int __real_pthread_mutex_trylock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex) {
  return lockError != 0 ? lockError : __real_pthread_mutex_trylock(mutex);
}

}  // extern "C"

namespace {

// The number in the std::system_error that the call throws; 0 when it does not.
int ErrorOf(const std::function<void()>& call, int error = EINVAL) {
  lockError = error;
  int thrown = 0;
  try {
    call();
  } catch (const std::system_error& failure) {
    thrown = failure.code().value();
  }
  lockError = 0;
  return thrown;
}

TEST(LockFailure, LeavesEveryCallOfAQueueAsAnExceptionWithItsNumber) {
  BlockingQueue queue(10);
  const auto worker = queue.Start();
  queue.Push("", "line");
  LogRecord record;
  for (const int error : {EINVAL, EDEADLK}) {
    EXPECT_EQ(ErrorOf([&] { queue.SetCapacity(1); }, error), error);
    EXPECT_EQ(ErrorOf([&] { queue.Start(); }, error), error);
    EXPECT_EQ(ErrorOf([&] { queue.MarkStopped(worker); }, error), error);
    EXPECT_EQ(ErrorOf([&] { queue.Push("", "lost"); }, error), error);
    EXPECT_EQ(ErrorOf([&] { queue.WaitPop(worker, record); }, error), error);
    EXPECT_EQ(ErrorOf([&] { queue.WaitUntilStopped(); }, error), error);
  }
  EXPECT_TRUE(queue.IsRunning());
  EXPECT_EQ(queue.Size(), 1u);
}

TEST(LockFailure, LeavesTheCacheAsAnException) {
  RecentLogCache cache;
  cache.Append("line\n");
  EXPECT_EQ(ErrorOf([&] { cache.Append("lost\n"); }), EINVAL);
  EXPECT_EQ(ErrorOf([&] { (void)cache.GetBatch(1); }), EINVAL);
  EXPECT_EQ(ErrorOf([&] { cache.ClearBatch(true); }), EINVAL);
  EXPECT_EQ(cache.GetBatch(10), "line\n");
}

TEST(LockFailure, LeavesTheCallsForTheCacheAsAnException) {
  EXPECT_EQ(ErrorOf([] { (void)ZinGetCacheLog(1); }), EINVAL);
  EXPECT_EQ(ErrorOf([] { ZinClearLastLog(true); }), EINVAL);
}

TEST(LockFailureDeathTest, EndsTheProcessInTheStopPath) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  BlockingQueue queue(10);
  EXPECT_DEATH(ErrorOf([&] { queue.PushExitMarker(); }), "terminat");
}

TEST(LockFailureDeathTest, EndsTheProcessInALogCall) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ZinLogger& logger = *ZinLogger::GetInstance();
  EXPECT_DEATH(ErrorOf([&] { logger.Log("file.cpp", 1, "function", " ", "", INFO, "x"); }),
               "terminat");
}

}  // namespace
