// For programs that fork under a sanitizer. Its allocator has locks that a child
// would inherit locked when another thread was in there. So all allocations pass a
// gate, and a fork closes it and waits until nobody is inside.
//
// Compiled without sanitizers: the thread sanitizer would take the gate for an order
// between threads that the library does not have.
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

extern "C" {
void* __interceptor_malloc(std::size_t size);
void* __interceptor_calloc(std::size_t count, std::size_t size);
void* __interceptor_realloc(void* memory, std::size_t size);
void* __interceptor_memalign(std::size_t alignment, std::size_t size);
void __interceptor_free(void* memory);
}

namespace {

constinit std::atomic<bool> isClosed{false};
constinit std::atomic<int> inside{0};

class Pass {
 public:
  Pass() {
    for (;;) {
      ++inside;
      if (!isClosed) return;
      --inside;
      while (isClosed) (void)sched_yield();
    }
  }
  ~Pass() { --inside; }
  Pass(const Pass&) = delete;
  Pass& operator=(const Pass&) = delete;
};

void Close() {
  isClosed = true;
  while (inside != 0) (void)sched_yield();
}

void Open() {
  isClosed = false;
}

void CloseAtFork() {
  (void)pthread_atfork(Close, Open, Open);
}

// Before all constructors, those of the library as well: handlers that prepare a
// fork are called last first, so that the library's locks are taken by then.
[[gnu::section(".preinit_array"), gnu::used]] void (*const first)() = CloseAtFork;

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  const Pass pass;
  return __interceptor_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  const Pass pass;
  return __interceptor_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  const Pass pass;
  return __interceptor_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  const Pass pass;
  return __interceptor_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  const Pass pass;
  *memory = __interceptor_memalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}
void free(void* memory) {
  const Pass pass;
  __interceptor_free(memory);
}
}
