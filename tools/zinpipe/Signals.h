// What the tool is told by signals.
#ifndef ZINPIPE_SIGNALS_H
#define ZINPIPE_SIGNALS_H

#include <functional>

#include "Descriptor.h"

// SIGTERM and SIGINT (stop), SIGALRM (begin a new file) and SIGUSR1 (say the
// counts), read from a descriptor instead of interrupting. Those that were
// ignored when the tool was started stay ignored. SIGHUP does nothing, and
// neither do the signals of a closed standard output and of a file that has
// reached the process's limit: the writes report those.
//
// To be built before any other thread is started, so that all inherit it. For
// one thread.
class Signals {
 public:
  Signals();  // throws std::runtime_error

  // Readable when a signal has come.
  int Descriptor() const { return descriptor.Number(); }

  // Takes note of the signals that have come; counts that are wanted are said
  // from here. To be called wherever the tool waits.
  void Take();

  // How often it has been told to stop; at the second time it no longer waits.
  int Stops() const { return stops; }
  bool MustStopAtOnce() const { return stops > 1; }

  // Whether a new file was wanted since the last call.
  bool TakeRotation();

  void WhenCountsAreWanted(std::function<void()> say) { sayCounts = std::move(say); }

 private:
  ::Descriptor descriptor;
  int stops = 0;
  bool rotationIsWanted = false;
  std::function<void()> sayCounts;
};

#endif  // ZINPIPE_SIGNALS_H
