#ifndef ZIN_RELIABILITY_DRIVER_H
#define ZIN_RELIABILITY_DRIVER_H

#include <atomic>
#include <cstdint>
#include <string>

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

// Numbers in a file that is mapped shared: they outlive the driver, however it
// ends, and can be read from outside while it runs.
class Ledger {
 public:
  static constexpr std::size_t slotCount = 512;
  explicit Ledger(const std::string& path);
  std::atomic<std::uint64_t>& operator[](std::size_t slot) { return slots[slot]; }

 private:
  std::atomic<std::uint64_t>* slots;  // never unmapped: threads write to the end
};

// Threads of this process whose name, as the kernel shows it, begins so.
unsigned CountThreads(const std::string& nameBegin);

#endif  // ZIN_RELIABILITY_DRIVER_H
