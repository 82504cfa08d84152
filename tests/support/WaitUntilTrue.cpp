#include "WaitUntilTrue.h"

#include <chrono>
#include <thread>

bool WaitUntilTrue(const std::function<bool()>& condition) {
  using namespace std::chrono_literals;
  const auto deadline = std::chrono::steady_clock::now() + 60s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(1ms);  // paces the polling, promises nothing
  }
  return true;
}
