#include "FileWrites.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "Clock.h"
#include "SystemCallArguments.h"

namespace {

std::atomic<bool> gateIsShut = false;
std::atomic<bool> isNoting = false;
std::atomic<std::size_t> noted = 0;
std::vector<FileWrite> writes;

bool IsLogFile(int descriptor) {
  return descriptor > STDERR_FILENO;
}

void BeforeWrite(int descriptor) {
  if (gateIsShut.load(std::memory_order_acquire) && IsLogFile(descriptor)) gateIsShut.wait(true);
}

void AfterWrite(int descriptor) {
  if (!isNoting.load(std::memory_order_acquire) || !IsLogFile(descriptor)) return;
  const std::int64_t now = NowNanoseconds();
  const std::size_t index = noted.load(std::memory_order_relaxed);
  if (index >= writes.size()) return;
  writes[index] = {now, lseek(descriptor, 0, SEEK_CUR)};
  noted.store(index + 1, std::memory_order_release);
}

template <typename... Arguments>
long SystemCall(long number, Arguments... arguments) {
  static const auto next = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
  return next(number, arguments...);
}

ssize_t WriteBytes(int descriptor, const void* bytes, std::size_t count) {
  BeforeWrite(descriptor);
  const ssize_t result =
      SystemCall(SYS_write, descriptor, reinterpret_cast<long>(bytes), static_cast<long>(count));
  AfterWrite(descriptor);
  return result;
}

}  // namespace

// Visible to the libraries, whatever the program is compiled with.
#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED ssize_t write(int descriptor, const void* bytes, std::size_t count) {
  return WriteBytes(descriptor, bytes, count);
}

EXPORTED long syscall(long number, ...) noexcept {
  std::va_list list;
  va_start(list, number);
  const auto values = SystemCallArguments(list);
  va_end(list);
  if (number == SYS_write) {
    return WriteBytes(static_cast<int>(values[0]), reinterpret_cast<const void*>(values[1]),
                      static_cast<std::size_t>(values[2]));
  }
  return SystemCall(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}

EXPORTED ssize_t writev(int descriptor, const iovec* parts, int count) {
  BeforeWrite(descriptor);
  const ssize_t result = SystemCall(SYS_writev, descriptor, reinterpret_cast<long>(parts), count);
  AfterWrite(descriptor);
  return result;
}

EXPORTED int fflush(FILE* stream) {
  static const auto next = reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "fflush"));
  const int descriptor = stream == nullptr ? -1 : fileno(stream);
  BeforeWrite(descriptor);
  const int result = next(stream);
  AfterWrite(descriptor);
  return result;
}

void NoteFileWrites(std::size_t count) {
  writes.resize(count);
  noted = 0;
  isNoting.store(true, std::memory_order_release);
}

std::vector<FileWrite> NotedFileWrites() {
  isNoting = false;
  return {writes.begin(), writes.begin() + static_cast<std::ptrdiff_t>(noted.load())};
}

std::size_t CountFileWrites() {
  return noted.load(std::memory_order_acquire);
}

void ShutFileGate() {
  gateIsShut = true;
}

void OpenFileGate() {
  gateIsShut = false;
  gateIsShut.notify_all();
}
