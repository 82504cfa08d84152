// Sees every moment at which a library hands bytes of a log file to the kernel.
//
// The program defines write, writev, fflush and syscall itself, ahead of the C
// library: with one of these, every measured library ends a line. The standard streams are
// left alone. Nothing is done but the call itself until a function below asks.
#ifndef ZIN_BENCH_FILE_WRITES_H
#define ZIN_BENCH_FILE_WRITES_H

#include <cstddef>
#include <cstdint>
#include <vector>

struct FileWrite {
  std::int64_t nanoseconds;  // when it returned
  std::int64_t fileSize;     // up to where the file was written then
};

// Notes at most `count` writes from now on.
void NoteFileWrites(std::size_t count);

// Those noted so far, in their order. Call it when nobody writes.
std::vector<FileWrite> NotedFileWrites();

// How many were noted so far. Any time.
std::size_t CountFileWrites();

// While the gate is shut, a thread that would write waits.
void ShutFileGate();
void OpenFileGate();

#endif  // ZIN_BENCH_FILE_WRITES_H
