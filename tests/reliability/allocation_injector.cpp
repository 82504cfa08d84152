// Linked before the C library: lets the k-th allocation of the process fail, and
// the count - 1 that follow (ZIN_ALLOCATION="<k>:<count>"), whoever makes it:
// operator new takes its memory from malloc, too. Counts between
// AllocationsBegin and AllocationsEnd.
#include <dlfcn.h>
#include <pwd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "Allocations.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

// Plain globals: they are used before any constructor has run.
std::atomic<bool> isCounting{false};
std::atomic<unsigned long> counted{0};
std::atomic<unsigned long> firstFailing{0};
std::atomic<unsigned long> failingCount{0};

// The C library's own account lookup ends the process without memory, by a
// null pointer or by an abort ("Unexpected error."); nobody above can help it.
[[gnu::tls_model("initial-exec")]] thread_local bool looksUpAccount = false;

bool Fails() {
  if (!isCounting.load() || looksUpAccount) return false;
  const unsigned long number = ++counted;
  const unsigned long first = firstFailing.load();
  if (first == 0 || number < first || number - first >= failingCount.load()) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  return Fails() ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  return Fails() ? nullptr : __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return Fails() ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  *memory = Fails() ? nullptr : __libc_memalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}

int getpwnam_r(const char* name, passwd* record, char* buffer, std::size_t size, passwd** found) {
  static const auto next = reinterpret_cast<decltype(&getpwnam_r)>(dlsym(RTLD_NEXT, "getpwnam_r"));
  looksUpAccount = true;
  const int result = next(name, record, buffer, size, found);
  looksUpAccount = false;
  return result;
}

void AllocationsBegin() {
  if (const char* const setting = std::getenv("ZIN_ALLOCATION")) {
    char* rest = nullptr;
    firstFailing = std::strtoul(setting, &rest, 10);
    failingCount = *rest == ':' ? std::strtoul(rest + 1, nullptr, 10) : 1;
  }
  isCounting = true;
}

void AllocationsEnd() {
  isCounting = false;
}

unsigned long AllocationsCounted() {
  return counted;
}
}
