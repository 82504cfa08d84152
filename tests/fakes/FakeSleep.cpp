#include "FakeSleep.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace {

struct State {
  std::mutex mutex;
  std::condition_variable changed;
  int entered = 0;
  int permits = 0;
  std::uint32_t latestMilliseconds = 0;
};

// Never destroyed: parked threads stay in here until the process has ended.
State& Shared() {
  static State& state = *new State;
  return state;
}

}  // namespace

void ZinSleep(std::uint32_t milliseconds) {
  State& state = Shared();
  std::unique_lock<std::mutex> lock(state.mutex);
  ++state.entered;
  state.latestMilliseconds = milliseconds;
  state.changed.notify_all();
  state.changed.wait(lock, [&] { return state.permits > 0; });
  --state.permits;
}

bool FakeSleep::WaitUntilEntered(int count) {
  State& state = Shared();
  std::unique_lock<std::mutex> lock(state.mutex);
  return state.changed.wait_until(lock, std::chrono::system_clock::now() + std::chrono::minutes(1),
                                  [&] { return state.entered >= count; });
}

void FakeSleep::LetOneReturn() {
  State& state = Shared();
  const std::lock_guard<std::mutex> lock(state.mutex);
  ++state.permits;
  state.changed.notify_all();
}

int FakeSleep::EnteredCount() {
  State& state = Shared();
  const std::lock_guard<std::mutex> lock(state.mutex);
  return state.entered;
}

std::uint32_t FakeSleep::LatestMilliseconds() {
  State& state = Shared();
  const std::lock_guard<std::mutex> lock(state.mutex);
  return state.latestMilliseconds;
}
