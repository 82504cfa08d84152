// Carries finished lines from any number of caller threads to a worker.
#ifndef ZIN_BLOCKING_QUEUE_H
#define ZIN_BLOCKING_QUEUE_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <string_view>

#include "RecordFifo.h"
#include "ZinForkMutex.h"

// A Push never waits: when the queue is full or not running, the record is
// dropped and nobody is told. Callers stay fast; a slow disk costs lines.
//
// Generations tell workers apart. A start after a stop was requested begins a
// new generation; a worker of an earlier one, held up in a slow system call
// while the stop timed out, finds out when it comes back and leaves without
// taking records or stopping its successor. A second start without a stop adds
// a worker to the same generation.
//
// One condition variable serves the workers and the stopping threads, and is
// always notified for one. A notification may therefore wake a thread that has
// no use for it, so every thread that leaves for good wakes the next.
//
// Callers and workers have a mutex each, so that a worker that catches up with
// a long queue is not in the callers' way. Only a start and a fork hold both.
//
// Thread-safe. The mutexes are leaves: nothing is called while one is held, the
// allocator included. The operations throw std::system_error when one cannot be
// locked.
class BlockingQueue {
 public:
  using Generation = std::uint64_t;

  // channelName: what probes call it; must outlive the queue.
  explicit BlockingQueue(std::uint64_t initialCapacity, const char* channelName = "")
      : capacity(initialCapacity), channel(channelName) {}
  BlockingQueue(const BlockingQueue&) = delete;
  BlockingQueue& operator=(const BlockingQueue&) = delete;

  // Records, not bytes. Takes effect with the next Push.
  void SetCapacity(std::uint64_t newCapacity);

  // Accepts records from now on, and returns the generation that a worker
  // started for it belongs to. Exit markers left by earlier stops are
  // discarded, so that they cannot end the new worker; lines stay queued.
  Generation Start();

  // Refuses records from now on, unless the worker's generation is over.
  // Called by each worker as it leaves; wakes one waiter either way.
  void MarkStopped(Generation worker);

  // Read without the mutex: the answer may be stale by the time it is used.
  bool IsRunning() const noexcept;
  std::uint64_t Size() const noexcept;

  // Appends a record if there is room and the queue is running.
  void Push(std::string_view first, std::string_view second);

  // Appends the exit marker (two empty strings) whatever capacity and running
  // say, so that a full queue can always be stopped. Any failure ends the
  // process: the stop path has no one to report to.
  void PushExitMarker() noexcept;

  // Waits for the oldest record and takes it into `record`, whose strings' memory
  // is used again. Gives an exit marker when the worker is to leave: its
  // generation is over, or nothing is left in a queue that no longer runs.
  void WaitPop(Generation worker, LogRecord& record);

  // Takes what waits for the same file along with a record that WaitPop has put
  // into `run`, up to the line with which its text exceeds `mostBytes`, and not an
  // exit marker. False: nothing else waits.
  //
  // What is taken along goes on counting against the capacity, until MarkWritten
  // finds that it is done: one record is begun, all others wait.
  bool TakeAlong(Generation worker, LineRun& run, std::uint64_t mostBytes);
  void MarkWritten(Generation worker, LineRun& run);

  // Sleeps for a moment, unless many records wait: to be taken one by one, while
  // their bytes are in another processor's cache, costs callers and worker more
  // than to be taken together.
  void LetRecordsGather() const;

  // Waits until the queue is no longer running or is started anew, at most 10
  // seconds, of which `spent` are over already. Does not tell which.
  void WaitUntilStopped(std::chrono::milliseconds spent = {});

  // Around fork: the forking thread holds the mutexes, so that the child finds
  // the records whole. The child's queue is empty and stopped, whatever its
  // parent did, and knows nothing of the parent's waiting threads.
  void LockForFork();
  void UnlockInParent();
  void ResetInChild();

 private:
  bool HasRoom();
  bool TryPush(std::string_view first, std::string_view second);
  bool TakeNext(Generation worker, LogRecord& record);
  bool WaitForRecords(Generation worker);

  // Appended under mutex, taken under takingMutex; the counts are free to read.
  RecordFifo records;
  ZinForkMutex mutex;
  std::condition_variable condition;
  std::uint64_t capacity;            // records, not bytes; guarded by mutex
  std::uint64_t takenCountSeen = 0;  // an earlier TakenCount of records; guarded by mutex
  bool running = false;              // written under mutex, read without
  bool stopRequested = false;        // since the last Start; guarded by mutex
  Generation currentGeneration = 0;  // written under both mutexes, read under either

  alignas(cacheLine) ZinForkMutex takingMutex;
  const char* const channel;
};

#endif  // ZIN_BLOCKING_QUEUE_H
