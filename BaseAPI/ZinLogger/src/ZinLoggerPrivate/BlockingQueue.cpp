#include "BlockingQueue.h"

#include <chrono>
#include <memory>

#include "PlainField.h"

namespace {
constexpr std::chrono::seconds stopTimeout{10};
}

void BlockingQueue::SetCapacity(std::uint64_t newCapacity) {
  const std::lock_guard<std::mutex> lock(mutex);
  capacity = newCapacity;
}

BlockingQueue::Generation BlockingQueue::Start() {
  const std::lock_guard<std::mutex> lock(mutex);
  std::erase_if(records, [](const LogRecord& record) { return record.second.empty(); });
  StorePlain(recordCount, records.size());
  if (!running || stopRequested) ++currentGeneration;
  stopRequested = false;
  StorePlain(running, true);
  return currentGeneration;
}

void BlockingQueue::MarkStopped(Generation worker) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (worker == currentGeneration) StorePlain(running, false);
  }
  condition.notify_one();
}

bool BlockingQueue::IsRunning() const noexcept {
  return LoadPlain(running);
}

std::uint64_t BlockingQueue::Size() const noexcept {
  return LoadPlain(recordCount);
}

void BlockingQueue::Push(std::string first, std::string second) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (capacity > records.size() && running) Append(std::move(first), std::move(second));
  }
  condition.notify_one();
}

void BlockingQueue::PushExitMarker() noexcept {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    stopRequested = true;
    Append({}, {});
  }
  condition.notify_one();
}

LogRecord BlockingQueue::WaitPop(Generation worker) {
  std::unique_lock<std::mutex> lock(mutex);
  condition.wait(lock, [&] { return !records.empty() || !running || worker != currentGeneration; });
  if (records.empty() || worker != currentGeneration) return {};

  LogRecord record = std::move(records.front());
  records.pop_front();
  StorePlain(recordCount, records.size());
  return record;
}

void BlockingQueue::WaitUntilStopped() {
  {
    std::unique_lock<std::mutex> lock(mutex);
    const auto deadline = std::chrono::system_clock::now() + stopTimeout;
    const Generation stopped = currentGeneration;
    while (running && stopped == currentGeneration) {
      if (condition.wait_until(lock, deadline) == std::cv_status::timeout) break;
    }
  }
  condition.notify_one();
}

void BlockingQueue::ResetInChild() {
  records.clear();
  StorePlain(recordCount, 0);
  StorePlain(running, false);
  stopRequested = false;
  ++currentGeneration;
  // The old one counts waiters that do not exist here: it would spend
  // notifications on them, and wait for them when destroyed.
  std::construct_at(&condition);
  mutex.unlock();
}

void BlockingQueue::Append(std::string first, std::string second) {
  records.emplace_back(std::move(first), std::move(second));
  StorePlain(recordCount, records.size());
}
