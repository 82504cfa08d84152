#ifndef ZIN_TEST_JOINING_THREAD_H
#define ZIN_TEST_JOINING_THREAD_H

#include <thread>
#include <utility>

// A thread that is waited for where its name ends. std::jthread would do, but not
// every C++ library that the tests are built with has it.
class JoiningThread {
 public:
  template <typename Body>
  explicit JoiningThread(Body body) : thread(std::move(body)) {}
  JoiningThread(JoiningThread&&) noexcept = default;
  JoiningThread& operator=(JoiningThread&&) = delete;
  ~JoiningThread() {
    if (thread.joinable()) thread.join();
  }

  void join() { thread.join(); }
  std::thread::native_handle_type native_handle() { return thread.native_handle(); }

 private:
  std::thread thread;
};

#endif  // ZIN_TEST_JOINING_THREAD_H
