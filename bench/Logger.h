// The one interface through which every logging library is measured.
//
// Each library has one adapter that implements it, and one program is linked
// per library, so that memory and CPU time of a run are of that library alone.
// All adapters are set up to the same guarantees as far as the library can: the
// caller formats the message, a bounded queue takes it to a background thread,
// which keeps no line in a buffer, files rotate by size, and the last 1,500 lines
// stay in memory. docs/PERFORMANCE.md says where one differs.
#ifndef ZIN_BENCH_LOGGER_H
#define ZIN_BENCH_LOGGER_H

#include <cstddef>
#include <string>

#include "Order.h"

namespace logger {

inline constexpr std::size_t recentLines = 1500;
inline constexpr int rotationMiB = 10;
inline constexpr int rotatedFilesKept = 100;  // more than any run writes: lines are counted

// In which thread a line is handed to the kernel.
enum class Delivery { Background, Caller, None };

struct Setup {
  std::string directory;   // exists, is empty, and holds "log" in its name
  std::size_t queueLines;  // that the queue takes before a line is dropped or a caller waits
  // Whether each line is to be given to the kernel at once, as ours always is, or as
  // the library does it when it is not told.
  bool flushesEachLine = true;
};

extern const char* const name;
extern const Delivery delivery;

// Called once each, from the main thread. Stop returns when all lines are in
// the files.
void Start(const Setup& setup);
void Stop();

// Log the order as one INFO line of about 160 bytes. Any thread.
void Log(const Order& order);
void LogDouble(const Order& order);

// Log it one level below the threshold, so that no line comes of it: by the call of a
// function where the library has one, and by its macro.
void LogFiltered(const Order& order);
void LogFilteredByMacro(const Order& order);

}  // namespace logger

#endif  // ZIN_BENCH_LOGGER_H
