// Who is notified is nobody's to know, so every step that may have used up another
// thread's notification hands one on. A step that does not costs that thread its
// whole time-out, or for ever; here the notifications themselves are counted.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>

#include "BlockingQueue.h"

namespace {

std::atomic<int> notifications{0};

template <typename Call>
Call Real(const char* name) {
  return reinterpret_cast<Call>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// A program of its own, because these stand before the C library's for all of it.
extern "C" {

__attribute__((visibility("default"))) int pthread_cond_signal(pthread_cond_t* condition) noexcept {
  static const auto real = Real<decltype(&pthread_cond_signal)>("pthread_cond_signal");
  ++notifications;
  return real(condition);
}

__attribute__((visibility("default"))) int pthread_cond_broadcast(
    pthread_cond_t* condition) noexcept {
  static const auto real = Real<decltype(&pthread_cond_broadcast)>("pthread_cond_broadcast");
  ++notifications;
  return real(condition);
}
}

namespace {

template <typename Step>
int NotificationsOf(Step step) {
  const int before = notifications;
  step();
  return notifications - before;
}

TEST(Notification, IsGivenByAWorkerThatLeaves) {
  BlockingQueue queue(10);
  const auto worker = queue.Start();

  EXPECT_EQ(NotificationsOf([&] { queue.MarkStopped(worker); }), 1);
}

TEST(Notification, IsHandedOnByALateWorkerThatLeaves) {
  BlockingQueue queue(10);
  const auto lateWorker = queue.Start();
  queue.PushExitMarker();
  queue.Start();

  EXPECT_EQ(NotificationsOf([&] { queue.MarkStopped(lateWorker); }), 1);
}

TEST(Notification, IsHandedOnByAStopperThatLeaves) {
  BlockingQueue queue(10);
  queue.MarkStopped(queue.Start());

  EXPECT_EQ(NotificationsOf([&] { queue.WaitUntilStopped(); }), 1);
}

TEST(Notification, IsGivenByAnExitMarker) {
  BlockingQueue queue(10);
  queue.Start();

  EXPECT_EQ(NotificationsOf([&] { queue.PushExitMarker(); }), 1);
}

// A push that is refused may be all that a stopper hears of a start.
TEST(Notification, IsGivenByEveryPushTakenOrNot) {
  BlockingQueue queue(1);
  queue.Start();

  EXPECT_EQ(NotificationsOf([&] { queue.Push("", "taken"); }), 1);
  EXPECT_EQ(NotificationsOf([&] { queue.Push("", "dropped"); }), 1);
}

}  // namespace
