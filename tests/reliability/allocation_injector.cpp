// Linked before the C library, or into the driver when a sanitizer's allocator
// stands in the C library's place: lets the k-th allocation of the process fail, and
// the count - 1 that follow (ZIN_ALLOCATION="<k>:<count>"), whoever makes it:
// operator new takes its memory from malloc, too. Counts between
// AllocationsBegin and AllocationsEnd.
#include <dlfcn.h>
#include <pthread.h>
#include <pwd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "Allocations.h"

// The allocator behind: the C library's, or the sanitizer's.
#ifdef ZIN_SANITIZED
#define ZIN_REAL(name) __interceptor_##name
#else
#define ZIN_REAL(name) __libc_##name
#endif

extern "C" {
void* ZIN_REAL(malloc)(std::size_t size);
void* ZIN_REAL(calloc)(std::size_t count, std::size_t size);
void* ZIN_REAL(realloc)(void* memory, std::size_t size);
void* ZIN_REAL(memalign)(std::size_t alignment, std::size_t size);
}

namespace {

// Plain globals: they are used before any constructor has run.
std::atomic<bool> isCounting{false};
std::atomic<unsigned long> counted{0};
std::atomic<unsigned long> firstFailing{0};
std::atomic<unsigned long> failingCount{0};

// Where memory never fails. The C library's own account lookup ends the process
// without it, by a null pointer or by an abort ("Unexpected error."); nobody above
// can help it. Nor can anybody when a sanitizer's runtime sets up a thread.
[[gnu::tls_model("initial-exec")]] thread_local bool isSpared = false;

// The C library's function that a wrapper stands for; no guard, for a thread may
// not be set up for one yet.
template <typename Function>
Function Next(std::atomic<void*>& known, const char* name) {
  if (known.load() == nullptr) known = dlsym(RTLD_NEXT, name);
  return reinterpret_cast<Function>(known.load());
}

bool Fails() {
  if (!isCounting.load() || isSpared) return false;
  const unsigned long number = ++counted;
  const unsigned long first = firstFailing.load();
  if (first == 0 || number < first || number - first >= failingCount.load()) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  return Fails() ? nullptr : ZIN_REAL(malloc)(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : ZIN_REAL(calloc)(count, size);
}
void* realloc(void* memory, std::size_t size) {
  return Fails() ? nullptr : ZIN_REAL(realloc)(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return Fails() ? nullptr : ZIN_REAL(memalign)(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  *memory = Fails() ? nullptr : ZIN_REAL(memalign)(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}

int getpwnam_r(const char* name, passwd* record, char* buffer, std::size_t size, passwd** found) {
  static constinit std::atomic<void*> known{nullptr};
  isSpared = true;
  const int result =
      Next<decltype(&getpwnam_r)>(known, "getpwnam_r")(name, record, buffer, size, found);
  isSpared = false;
  return result;
}

#ifdef ZIN_SANITIZED
int pthread_getattr_np(pthread_t thread, pthread_attr_t* attributes) noexcept {
  static constinit std::atomic<void*> known{nullptr};
  isSpared = true;
  const int result =
      Next<decltype(&pthread_getattr_np)>(known, "pthread_getattr_np")(thread, attributes);
  isSpared = false;
  return result;
}
#endif

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
