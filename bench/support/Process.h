// What the process has used so far, and what it has written.
#ifndef ZIN_BENCH_PROCESS_H
#define ZIN_BENCH_PROCESS_H

#include <cstdint>
#include <string>

// Nanoseconds of CPU time of all threads, user and system.
std::int64_t CpuNanoseconds();

// KiB resident now, and at most so far.
std::int64_t ResidentKiB();
std::int64_t PeakResidentKiB();

struct FileContents {
  std::int64_t lines = 0;  // that log an order; headers of a library's own do not count
  std::int64_t bytes = 0;
};

// Reads every file below the directory. Links are not followed.
FileContents ReadFiles(const std::string& directory);

// Bytes of all files below the directory, without reading them.
std::int64_t BytesOfFiles(const std::string& directory);

// Waits until the files below the directory have not grown for 100 ms.
void WaitUntilDrained(const std::string& directory);

#endif  // ZIN_BENCH_PROCESS_H
