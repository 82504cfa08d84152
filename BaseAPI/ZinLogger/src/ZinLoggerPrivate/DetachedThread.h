// Starts the library's own threads.
#ifndef ZIN_DETACHED_THREAD_H
#define ZIN_DETACHED_THREAD_H

#include <pthread.h>

#include <csignal>
#include <thread>
#include <utility>

// Blocks all signals of the calling thread while it lives. A thread inherits
// the mask of its creator, so library threads never run the application's
// signal handlers.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &callersMask);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &callersMask, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t callersMask{};
};

// `name` is what top -H shows; the kernel takes 15 characters. Throws
// std::system_error when the thread cannot be created.
template <typename Body>
void StartDetachedThread(const char* name, Body body) {
  const AllSignalsBlocked noSignals;
  std::thread([name, body = std::move(body)] {
    (void)pthread_setname_np(pthread_self(), name);
    body();
  }).detach();
}

#endif  // ZIN_DETACHED_THREAD_H
