// Copies the input to standard output.
#ifndef ZINPIPE_ECHO_H
#define ZINPIPE_ECHO_H

#include <string_view>

#include "Signals.h"

class Echo {
 public:
  // A reader of standard output that reads no more must not keep the tool from
  // stopping when a signal says so.
  Echo(bool wanted, Signals& stopSignals) : active(wanted), signals(stopSignals) {}

  // Copies the bytes as they are. The first failure is reported and ends the
  // echo, but nothing else.
  void Copy(std::string_view bytes);

  bool HasFailed() const { return failed; }

 private:
  bool WaitForReader() const;
  void Fail(const char* reason);

  bool active;
  bool failed = false;
  Signals& signals;
};

#endif  // ZINPIPE_ECHO_H
