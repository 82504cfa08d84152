#include "Children.h"

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "Probe.h"
#include "Sanitizers.h"

namespace {

constexpr unsigned childsSeconds = 40;  // only a hang takes as long

// The C library gives a child's threads the stacks, and with them the ids, that
// the parent's threads had; the thread sanitizer ends the process when it meets
// such an id again. Stacks that are larger than those are new.
void AvoidIdsOfParentsThreads() {
  if (!builtWithThreadSanitizer) return;
  pthread_attr_t attributes;
  std::size_t size = 0;
  Require(pthread_getattr_default_np(&attributes) == 0, "no default attributes");
  Require(pthread_attr_getstacksize(&attributes, &size) == 0, "no stack size");
  Require(pthread_attr_setstacksize(&attributes, 2 * size) == 0, "no larger stacks");
  Require(pthread_setattr_default_np(&attributes) == 0, "no new default attributes");
  Require(pthread_attr_destroy(&attributes) == 0, "attributes");
}

bool isChild = false;

}  // namespace

// The leak checker asks this when a process ends. In a child it cannot see the
// stacks of the parent's threads, and takes what they own for lost.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return isChild ? 1 : 0;
}

void RunInChild(const std::string& name, const std::function<void()>& body) {
  const pid_t child = fork();
  Require(child >= 0, "cannot fork");
  if (child == 0) {
    isChild = true;
    alarm(childsSeconds);
    AvoidIdsOfParentsThreads();
    body();
    _exit(0);
  }
  int status = 0;
  Require(waitpid(child, &status, 0) == child, "lost a child");
  Require(!WIFSIGNALED(status), name + " was ended by signal " + std::to_string(WTERMSIG(status)) +
                                    " (" + std::to_string(SIGALRM) + ": it hung)");
  Require(WEXITSTATUS(status) == 0,
          name + " ended with status " + std::to_string(WEXITSTATUS(status)));
}
