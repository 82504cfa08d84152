// System calls that fail when the test says so, and a record of them.
//
// The linker's --wrap leads every call listed in CMakeLists.txt through here,
// from the product's code and from the test's own. While no FailingCalls
// lives, all of them go straight to the system.
#ifndef ZIN_TEST_FAILING_CALLS_H
#define ZIN_TEST_FAILING_CALLS_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// One at a time. Calls of all threads are noted and counted.
class FailingCalls {
 public:
  FailingCalls();
  ~FailingCalls();
  FailingCalls(const FailingCalls&) = delete;
  FailingCalls& operator=(const FailingCalls&) = delete;

  // The `which`-th call of this name from now on fails with `error`; that one
  // only, or that one and all after it. A call that fails never reaches the
  // system.
  void Fail(const std::string& name, int error, int which = 1);
  void FailFrom(const std::string& name, int error, int first = 1);

  // The `which`-th write from now on takes only the first `bytes` bytes.
  void ShortenWrite(std::size_t bytes, int which = 1);

  // From now on, writes find room for so many bytes; then as many fail for lack of
  // room, and from there on there is enough again.
  void FillDisk(std::size_t bytes, int failures);

  // Runs `action` just before the `which`-th call of this name from now on: what
  // another process or thread does in that moment.
  void Before(const std::string& name, std::function<void()> action, int which = 1);

  // Account lookups find this account for every name; lchown then succeeds
  // without reaching the system, so that no rights are needed.
  void UseAccount(uid_t user, gid_t group);

  // Account lookups find nothing, which is no error.
  void UseNoAccount();

  // The coarse clock stands still from the first call on. Each call, also the
  // first, puts it forward by so much, which may be 0.
  void LetTimePass(std::int64_t milliseconds);

  // The calls so far in order, each as its name and what matters of its
  // arguments, for example
  //   open /x/app.log for reading    open /x/app.log for writing 0640
  //   mkdir /x 0750                  renameat2 /x/app.log /x/app_1.log 1
  //   chmod /x/app.log 0640          lchown /x/app.log 54321:54322
  //   getpwnam_r qorsrvr             write 5
  // and the name and path alone for all others.
  std::vector<std::string> Record() const;

  // Those of the given names.
  std::vector<std::string> Of(std::initializer_list<std::string_view> names) const;

  // Forgets the calls so far.
  void Forget();
};

#endif  // ZIN_TEST_FAILING_CALLS_H
