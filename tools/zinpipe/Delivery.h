// Hands records to the logger, no faster than it can write them.
#ifndef ZINPIPE_DELIVERY_H
#define ZINPIPE_DELIVERY_H

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "InFlight.h"
#include "NameLock.h"
#include "Options.h"
#include "OutputFiles.h"
#include "Signals.h"
#include "WorkerThread.h"

struct DeliveryTotals {
  std::uint64_t handedOver = 0;  // lines
  std::uint64_t found = 0;       // of them in the files
  std::uint64_t removed = 0;     // of those in files that the limits of this run removed since
  std::uint64_t waiting = 0;     // not in a file yet
  std::uint64_t Missing() const {
    const std::uint64_t accounted = found + waiting;
    return handedOver > accounted ? handedOver - accounted : 0;
  }
};

// The logger drops a record that finds its queue full, and says nothing. So no
// more is handed over than the queue holds, and what has left the queue is read
// from the files.
class Delivery {
 public:
  // Creates the directory and starts the logger's channel. Throws
  // std::runtime_error when the files could not be written.
  Delivery(const Options& options, Signals& signals);

  // Bytes that one record may have, its newlines counted.
  std::size_t LongestRecord(const std::string& source) const;

  // Waits until there is room, and hands over. `source` and `line` tell where a
  // stamped line comes from.
  void HandOver(std::string_view record, const std::string& source, int line);

  // Whether all that was handed over has been found in the files.
  bool AllSeen() const { return inFlight.Records() == 0; }

  // Waits until it has; what is lost is reported. A second signal to stop ends
  // this and every other wait.
  void Settle();

  // Takes note of what has been written meanwhile, and of what has gone.
  void Look();

  // Looks whether the files still hold what was found in them, and mends what
  // can be mended.
  void LookAfterFiles();

  // Lets the file being written, when it has a line, become a finished one.
  void BeginNewFile();

  // The counts at this moment.
  DeliveryTotals Totals() const;

  // Waits until all is written, stops the channel and counts. Nothing may be
  // handed over any more.
  DeliveryTotals Finish();

  const std::string& FilePath() const { return filePath; }

 private:
  bool HasRoomFor(std::size_t bytes) const;
  void WaitForRoom(std::size_t bytes);
  void WaitUntilAtMost(std::size_t records, std::size_t bytes);
  bool NothingComesAnyMore(int silentMilliseconds);
  void WriteOff();
  bool WaitUntilIdle();
  void ReplaceLiveFile();
  void SayLosses();
  void SayThatItGoesOn();
  std::uint64_t NeverArrived() const;

  const Options& options;
  Signals& signals;
  std::string filePath;
  NameLock lock;
  OutputFiles files;
  WorkerThread worker;
  InFlight inFlight;
  std::size_t mostBytes;
  std::uint64_t handedOver = 0;
  std::uint64_t lastFound = 0;
  int timesFoundWaiting = 0;
  bool failing = false;
  std::uint64_t neverArrivedBefore = 0;  // when it began to fail
  std::chrono::steady_clock::time_point failingSince;
  bool cannotReplace = false;
  std::chrono::steady_clock::time_point lastReplacement;
};

#endif  // ZINPIPE_DELIVERY_H
