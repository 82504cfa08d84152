// Moves the lines of all inputs to their delivery.
#ifndef ZINPIPE_PUMP_H
#define ZINPIPE_PUMP_H

#include <chrono>
#include <cstdint>
#include <vector>

#include "Delivery.h"
#include "Echo.h"
#include "Input.h"
#include "LineSplitter.h"
#include "Options.h"
#include "Signals.h"
#include "StandardError.h"

struct PumpTotals {
  std::uint64_t cutLines = 0;
  std::uint64_t cuts = 0;
  std::uint64_t nulBytes = 0;
  bool inputFailed = false;
};

class Pump {
 public:
  Pump(const Options& options, std::vector<Input> inputs, Signals& signals, Echo& echo,
       Delivery& delivery);

  // Until all inputs end or a signal to stop comes; the writer of a pipe may
  // then go on for a while. Returns when all that was read has been handed over.
  void Run();

  PumpTotals Totals() const;

 private:
  struct Source {
    Input input;
    LineSplitter splitter;
    int line = 0;
  };

  bool ReadOnce();
  std::size_t ReadFrom(Source& source);
  void DeliverRecords(Source& source);
  void DeliverRest(Source& source);
  void Deliver(Source& source, std::string_view record);
  void WaitForMore(bool readSome);
  int MillisecondsToWait(bool readSome) const;
  bool MayGoOn();
  void TakeWhatIsThere();
  bool AllAtEnd() const;

  std::vector<Source> sources;
  using Clock = std::chrono::steady_clock;

  Signals& signals;
  Echo& echo;
  Delivery& delivery;
  std::chrono::seconds drain;
  Clock::time_point stopAt = Clock::time_point::max();  // known once a signal has come
  bool inputIsReady = true;                             // a read would not wait
  std::uint64_t bytesRead = 0;
  Progress progress;
};

#endif  // ZINPIPE_PUMP_H
