#ifndef ZIN_TEST_OPEN_QUEUE_H
#define ZIN_TEST_OPEN_QUEUE_H

#include <gtest/gtest.h>

#include "BlockingQueue.h"

// What a worker gets that asks for one record.
inline LogRecord Pop(BlockingQueue& queue, BlockingQueue::Generation worker) {
  LogRecord record("of an earlier", "pop");
  queue.WaitPop(worker, record);
  return record;
}

// Makes a channel's queue accept records while it lives, without a worker that
// takes them away: what a call handed over can be looked at.
class OpenQueue {
 public:
  explicit OpenQueue(BlockingQueue& theQueue, std::uint64_t capacity = 100) : queue(theQueue) {
    queue.SetCapacity(capacity);
    generation = queue.Start();
  }
  ~OpenQueue() { queue.MarkStopped(generation); }
  OpenQueue(const OpenQueue&) = delete;
  OpenQueue& operator=(const OpenQueue&) = delete;

  std::uint64_t Size() const { return queue.Size(); }

  // The oldest record; fails the test when there is none.
  LogRecord Take() {
    if (queue.Size() == 0) {
      ADD_FAILURE() << "nothing was queued";
      return {};
    }
    return Pop(queue, generation);
  }

 private:
  BlockingQueue& queue;
  BlockingQueue::Generation generation = 0;
};

#endif  // ZIN_TEST_OPEN_QUEUE_H
