// Looks at what the logger's worker thread is doing.
#ifndef ZINPIPE_WORKER_THREAD_H
#define ZINPIPE_WORKER_THREAD_H

#include <string>

// A line that is neither in a file nor lost is still to be written. The worker
// tells the two apart: while it waits for records, it has none left.
class WorkerThread {
 public:
  enum class State {
    Waits,   // for records or for a lock
    Works,   // computes, or is held up by the disk
    Unknown  // the system does not say
  };

  // The thread of this process that bears this name.
  explicit WorkerThread(std::string name);

  State Now();

 private:
  std::string name;
  std::string syscallFile;  // in /proc; empty as long as the thread was not found
};

#endif  // ZINPIPE_WORKER_THREAD_H
