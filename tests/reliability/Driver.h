#ifndef ZIN_RELIABILITY_DRIVER_H
#define ZIN_RELIABILITY_DRIVER_H

#include <string>

#include "Ledger.h"
#include "Probe.h"
#include "Records.h"

// Manners that the drivers share beyond those of the channel probes.

// A record through the log channel, and through the metrics channel.
void Emit(const RecordId& id, const char* subDirKey = "");
void EmitMetric(const RecordId& id);

// Starts the log channel "app.log" with limits that never remove a file, unless
// a field says otherwise.
struct LogSettings {
  const char* fileName = "app.log";
  int keepFiles = 1000000;
  int fileSizeMiB = 1000;  // 4096: rotates at every line
  unsigned long queueCapacity = 4000000;
};
void StartLogWith(const std::string& directory, const LogSettings& settings);

// Holds up a worker: a FIFO in the place of its file, which it opens for reading
// and waits for a writer. EndStall waits for it there and is this writer; the
// worker then moves the FIFO aside as it would a file.
void Stall(const std::string& path);
void EndStall(const std::string& path);

// Threads of this process whose name, as the kernel shows it, begins so.
unsigned CountThreads(const std::string& nameBegin);

#endif  // ZIN_RELIABILITY_DRIVER_H
