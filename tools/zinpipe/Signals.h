// How the tool is told to stop.
#ifndef ZINPIPE_SIGNALS_H
#define ZINPIPE_SIGNALS_H

// SIGTERM and SIGINT, read from a descriptor instead of interrupting. SIGHUP
// does nothing, and neither do the signals of a closed standard output and of
// a file that has reached the process's limit: the writes report those.
//
// To be built before any other thread is started, so that all inherit it.
class StopSignals {
 public:
  StopSignals();  // throws std::runtime_error
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Readable when a signal has come.
  int Descriptor() const { return descriptor; }

 private:
  int descriptor;
};

#endif  // ZINPIPE_SIGNALS_H
