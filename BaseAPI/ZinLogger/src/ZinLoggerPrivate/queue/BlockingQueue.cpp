#include "BlockingQueue.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <thread>

#include "BriefLock.h"
#include "PlainField.h"
#include "Probes.h"

namespace {

constexpr std::chrono::seconds stopTimeout{10};

// A worker that has nothing left to do looks again a few times before it waits
// to be woken. To wake a sleeping thread costs a caller several microseconds,
// and at a steady rate of lines the caller of each would pay them.
constexpr int mostNaps = 10;
constexpr std::chrono::microseconds napTime{100};

constexpr std::uint64_t manyRecords = 256;
constexpr std::chrono::microseconds gatheringTime{50};

}  // namespace

void BlockingQueue::SetCapacity(std::uint64_t newCapacity) {
  const std::lock_guard lock(mutex);
  capacity = newCapacity;
}

BlockingQueue::Generation BlockingQueue::Start() {
  const std::scoped_lock bothSides(takingMutex, mutex);
  records.DropExitMarkers();
  if (!running || stopRequested) {
    ++currentGeneration;
    // A worker that is held up has no say any more in what it holds.
    records.CountAllBegunAsTaken();
  }
  stopRequested = false;
  StorePlain(running, true);
  return currentGeneration;
}

void BlockingQueue::MarkStopped(Generation worker) {
  {
    const std::lock_guard lock(mutex);
    if (worker == currentGeneration) StorePlain(running, false);
  }
  condition.notify_one();
}

bool BlockingQueue::IsRunning() const noexcept {
  return LoadPlain(running);
}

std::uint64_t BlockingQueue::Size() const noexcept {
  const std::uint64_t taken = records.TakenCount();  // first, as it never passes the other
  return records.AppendedCount() - taken;
}

void BlockingQueue::Push(std::string_view first, std::string_view second) {
  const bool accepted = TryPush(first, second);
  condition.notify_one();
  if (!accepted) probes::QueueDrop(channel, second);
}

// False: the queue is full or not running.
bool BlockingQueue::TryPush(std::string_view first, std::string_view second) {
  for (RecordFifo::Memory memory;; memory.Provide()) {
    const BriefLock lock(mutex);
    if (!running || !HasRoom()) return false;
    if (records.Append(first, second, memory)) return true;
  }
}

// The worker's count is looked up only when its last known value leaves no
// room: the worker writes it with every record, on another processor.
bool BlockingQueue::HasRoom() {
  const std::uint64_t appended = records.AppendedCount();
  if (appended - takenCountSeen < capacity) return true;
  takenCountSeen = records.TakenCount();
  return appended - takenCountSeen < capacity;
}

void BlockingQueue::PushExitMarker() noexcept {
  RecordFifo::Memory memory;
  for (bool appended = false; !appended;) {
    {
      const std::lock_guard lock(mutex);
      stopRequested = true;
      appended = records.Append({}, {}, memory);
    }
    if (!appended) memory.Provide();
  }
  condition.notify_one();
}

void BlockingQueue::WaitPop(Generation worker, LogRecord& record) {
  while (!TakeNext(worker, record)) {
    if (!WaitForRecords(worker)) {
      record = {};
      return;
    }
  }
}

// Takes the oldest record, or makes an exit marker when the worker's generation
// is over. False: there is nothing to take.
bool BlockingQueue::TakeNext(Generation worker, LogRecord& record) {
  RecordFifo::Memory memory;
  for (;;) {
    RecordFifo::TakeResult result{};
    {
      const std::lock_guard lock(takingMutex);
      if (worker != currentGeneration) break;
      result = records.Take(record, memory);
    }
    if (result != RecordFifo::TakeResult::LacksRoom) return result == RecordFifo::TakeResult::Taken;
    memory.Provide(record);
  }
  record = {};
  return true;
}

// False: there is nothing to take, and the queue no longer runs.
bool BlockingQueue::WaitForRecords(Generation worker) {
  for (int nap = 0; nap < mostNaps; ++nap) {
    std::this_thread::sleep_for(napTime);
    if (!records.IsEmpty()) return true;
  }
  std::unique_lock<std::mutex> lock(mutex.Plain());
  condition.wait(lock,
                 [&] { return !records.IsEmpty() || !running || worker != currentGeneration; });
  return !records.IsEmpty() || running;
}

bool BlockingQueue::TakeAlong(Generation worker, LineRun& run, std::uint64_t mostBytes) {
  if (records.IsEmpty()) return false;
  if (run.Text().size() > mostBytes) return true;
  RecordFifo::Memory memory;
  const std::lock_guard lock(takingMutex);
  if (worker == currentGeneration) records.TakeAlong(run, mostBytes, memory);
  return !records.IsEmpty();
}

void BlockingQueue::MarkWritten(Generation worker, LineRun& run) {
  const std::size_t count = run.TakeNewlyBegun();
  if (count == 0) return;
  const std::lock_guard lock(takingMutex);
  if (worker == currentGeneration) records.CountTaken(count);
}

void BlockingQueue::LetRecordsGather() const {
  if (Size() < manyRecords) std::this_thread::sleep_for(gatheringTime);
}

void BlockingQueue::WaitUntilStopped(std::chrono::milliseconds spent) {
  bool timedOut = false;
  {
    std::unique_lock<std::mutex> lock(mutex.Plain());
    const auto deadline = std::chrono::system_clock::now() + stopTimeout - spent;
    const Generation stopped = currentGeneration;
    while (running && stopped == currentGeneration && !timedOut) {
      timedOut = condition.wait_until(lock, deadline) == std::cv_status::timeout;
    }
  }
  condition.notify_one();
  if (timedOut) probes::StopTimeout(channel);
}

void BlockingQueue::LockForFork() {
  takingMutex.LockForFork();
  mutex.LockForFork();
}

void BlockingQueue::UnlockInParent() {
  mutex.UnlockAfterFork();
  takingMutex.UnlockAfterFork();
}

void BlockingQueue::ResetInChild() {
  RecordFifo::Memory memory;  // is freed last
  records.Clear(memory);
  StorePlain(running, false);
  stopRequested = false;
  ++currentGeneration;
  // The old one counts waiters that do not exist here: it would spend
  // notifications on them, and wait for them when destroyed.
  std::construct_at(&condition);
  UnlockInParent();
}
